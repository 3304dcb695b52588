// main.cjs FOLDER RESULTS.xml UPLOT: opens the reports of FOLDER in Chromium and looks at them as a person would. Leaves
// pictures of them in FOLDER/pictures; UPLOT is the folder of the charts' library as it is built into the program.
'use strict';

const fs = require('node:fs');
const path = require('node:path');
const puppeteer = require('puppeteer-core');
const { longestMilliSec } = require('./pages.cjs');

const [folder, results, charts] = process.argv.slice(2);
const cases = [require('./looks.cjs'), require('./handling.cjs'), require('./package.cjs'), require('./results.cjs')];

function escape(text) {
    return text.replace(/[^\x20-\x7e\n]/g, '?').replace(/&/g, '&amp;').replace(/</g, '&lt;').replace(/"/g, '&quot;');
}

function writeResults(outcomes) {
    const lines = outcomes.map(({ name, error }) => (error
        ? `<testcase name="${escape(name)}" status="run"><failure message="${escape(error)}"/></testcase>`
        : `<testcase name="${escape(name)}" status="run"/>`));
    fs.writeFileSync(results, `<testsuites><testsuite name="report_pages">\n${lines.join('\n')}\n</testsuite></testsuites>\n`);
}

async function main() {
    const pictures = path.join(folder, 'pictures');
    fs.mkdirSync(pictures, { recursive: true });
    const browser = await puppeteer.launch({
        executablePath: '/usr/bin/chromium',
        timeout: longestMilliSec,
        // Root has no sandbox; nobody hears the sound.
        args: ['--no-sandbox', '--disable-gpu', '--mute-audio', '--disable-dev-shm-usage', '--renderer-process-limit=1'],
    });
    const outcomes = [];
    const context = { browser, folder, pictures, charts, results, outcomes };
    for (const list of cases) {
        for (const [name, run] of Object.entries(list(context))) {
            const error = await run().then(() => null, (thrown) => thrown.stack ?? String(thrown));
            outcomes.push({ name, error });
            // Whoever ends the program, because a later case hangs, finds those so far.
            writeResults(outcomes);
            console.log(`${error ? 'FAILED' : 'passed'}: ${name}${error ? `\n${error}` : ''}`);
        }
    }
    await browser.close();
    process.exitCode = outcomes.some(({ error }) => error) ? 1 : 0;
}

main();
