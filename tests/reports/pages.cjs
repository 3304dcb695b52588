// A report in the browser, with all that it must not do written down.
'use strict';

const assert = require('node:assert/strict');
const path = require('node:path');
const { pathToFileURL } = require('node:url');

// Ends what hangs. How long a page takes is no verdict on it: the machine may have other things to do.
const longestMilliSec = 120000;
const desk = { width: 1100, height: 900 };
const telephone = { width: 390, height: 844, deviceScaleFactor: 1, isMobile: true, hasTouch: true };

// What the page said and asked for since it was opened: to be empty.
class OpenReport {
    constructor(page, address) {
        this.page = page;
        this.address = address;
        this.faults = [];
        page.on('console', (message) => this.faults.push(`console: ${message.text()}`));
        page.on('pageerror', (error) => this.faults.push(`error: ${error.message}`));
        page.on('request', (request) => {
            const asked = request.url();
            if (!asked.startsWith('data:') && asked.split('#')[0] !== address && !this.isSoundBeside(asked)) {
                this.faults.push(`request: ${asked.slice(0, 100)}`);
            }
        });
    }

    // A long sound is a file in the report's own folder.
    isSoundBeside(asked) {
        const folder = new URL('.', this.address).href;
        return asked.startsWith(folder) && /^[\w-]+\.flac$/.test(asked.slice(folder.length));
    }

    requireSilence() {
        assert.deepEqual(this.faults, []);
    }

    // Drawn are the first pictures when a frame has passed; the address follows later.
    settle() {
        return this.page.evaluate(() => new Promise((resolve) => {
            requestAnimationFrame(() => requestAnimationFrame(resolve));
        }));
    }

    text(selector) {
        return this.page.$eval(selector, (element) => element.textContent);
    }

    // Where a time lies in a chart, as a pointer sees it.
    async pointOf(selector, share) {
        await this.page.$eval(selector, (element) => element.scrollIntoView({ block: 'center' }));
        const box = await (await this.page.$(`${selector} .u-over`)).boundingBox();
        return { x: box.x + box.width * share, y: box.y + box.height / 2 };
    }

    // The address once it has changed to what is asked for.
    waitForAddress(pattern) {
        return this.page.waitForFunction((wanted) => new RegExp(wanted).test(location.hash), {}, pattern.source);
    }

    close() {
        return this.page.close();
    }
}

async function openReport({ browser, folder }, name, { hash = '', viewport = desk, scheme = 'light', hasScripts = true } = {}) {
    const page = await browser.newPage();
    page.setDefaultTimeout(longestMilliSec);
    await page.setJavaScriptEnabled(hasScripts);
    await page.setViewport(viewport);
    await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
    const address = pathToFileURL(path.resolve(folder, `${name}.html`)).href;
    const report = new OpenReport(page, address);
    await page.goto(address + hash);
    if (hasScripts) {
        await report.settle();
    }
    return report;
}

// Runs `look` on an open report, then requires that it has said and asked for nothing.
async function withReport(context, name, options, look) {
    const report = await openReport(context, name, options);
    try {
        await look(report);
        report.requireSilence();
    } finally {
        await report.close();
    }
}

module.exports = { withReport, OpenReport, desk, telephone, longestMilliSec };
