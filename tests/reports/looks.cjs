// What a report looks like: whole, quiet, within its width, for every eye.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { withReport, OpenReport, telephone } = require('./pages.cjs');

const names = ['empty', 'play', 'hostile', 'record', 'empty-record', 'soak', 'empty-soak', 'hour', 'day', 'many'];
const kinds = ['play', 'record', 'soak'];
const kilobyte = 1000;
const axe = fs.readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');

// Axe comes by the debugger, which the page's policy does not bind.
async function violations(page) {
    await page.evaluate(`${axe};0`);
    const { violations: found } = await page.evaluate(() => axe.run());
    return found.map((rule) => `${rule.id}: ${rule.nodes.map((node) => node.html.slice(0, 120)).join(' | ')}`);
}

function openTables(page) {
    return page.$$eval('details', (all) => all.forEach((one) => { one.open = true; }));
}

function sidewaysScroll(page) {
    return page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
}

// Pixels of a canvas that differ from its first one: a chart that was never drawn has none.
function drawnPixels(page, selector) {
    return page.$eval(`${selector} canvas`, (canvas) => {
        const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
        let drawn = 0;
        for (let at = 3; at < data.length; at += 4) {
            drawn += data[at] > 0 ? 1 : 0;
        }
        return drawn;
    });
}

module.exports = (context) => {
    const cases = {};
    for (const name of names) {
        cases[`${name}: opens in silence and fits its width, of 390 px too`] = () => withReport(context, name, {}, async ({ page }) => {
            assert.notEqual(await page.$eval('h1', (title) => title.textContent), '');
            assert.equal(await sidewaysScroll(page), 0);
            await page.setViewport({ width: telephone.width, height: telephone.height });
            assert.equal(await sidewaysScroll(page), 0, 'at 390 px');
            await openTables(page);
            assert.equal(await sidewaysScroll(page), 0, 'with open tables');
        });
    }
    for (const name of kinds) {
        cases[`${name}: is drawn, and axe has nothing to complain of in light and dark`] = () => withReport(context, name, {}, async (report) => {
            const { page } = report;
            const charts = await page.$$eval('figure', (figures) => figures.map((figure) => `#${figure.id}`));
            assert.ok(charts.length >= 5, `${charts.length} charts`);
            for (const chart of charts) {
                assert.ok(await drawnPixels(page, chart) > 500, chart);
            }
            for (const scheme of ['light', 'dark']) {
                await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
                await report.settle();
                await page.screenshot({ path: path.join(context.pictures, `${name}-${scheme}.png`), fullPage: true });
            }
            await openTables(page);
            for (const scheme of ['dark', 'light']) {
                await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
                await report.settle();
                assert.deepEqual(await violations(page), [], scheme);
            }
        });
    }
    cases['play: changes its colours with the scheme while it is open'] = () => withReport(context, 'play', {}, async (report) => {
        const colours = () => report.page.evaluate(() => getComputedStyle(document.body).backgroundColor);
        const ink = () => report.page.$eval('#chart-error canvas', (canvas) => canvas.toDataURL());
        const [paper, drawn] = [await colours(), await ink()];
        await report.page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: 'dark' }]);
        await report.settle();
        assert.notEqual(await colours(), paper);
        assert.notEqual(await ink(), drawn);
    });
    cases['play: is legible on a telephone'] = () => withReport(context, 'play', { viewport: telephone }, async ({ page }) => {
        await page.screenshot({ path: path.join(context.pictures, 'play-telephone.png'), fullPage: true });
        const small = await page.$$eval('body *', (all) => all.filter((one) => one.textContent.trim() && one.clientWidth > 0
            && parseFloat(getComputedStyle(one).fontSize) < 12).map((one) => one.outerHTML.slice(0, 80)));
        assert.deepEqual(small, []);
        const width = await page.$eval('#chart-error canvas', (canvas) => canvas.getBoundingClientRect().width);
        assert.ok(width > 320, `a chart is ${width} px wide`);
    });
    cases['play: prints on paper in dark ink'] = () => withReport(context, 'play', { scheme: 'dark' }, async (report) => {
        const screen = await report.page.$eval('#chart-error canvas', (canvas) => canvas.toDataURL());
        await report.page.evaluate(() => {
            addEventListener('beforeprint', () => requestAnimationFrame(() => {}), { once: true });
            window.paperCanvas = null;
            addEventListener('beforeprint', () => queueMicrotask(() => {
                window.paperCanvas = document.querySelector('#chart-error canvas').toDataURL();
                window.paperColour = getComputedStyle(document.body).backgroundColor;
            }));
        });
        const paper = await report.page.pdf({ path: path.join(context.pictures, 'play.pdf'), format: 'A4' });
        assert.ok(paper.length > 20 * kilobyte);
        assert.equal(await report.page.evaluate('window.paperColour'), 'rgb(255, 255, 255)');
        assert.notEqual(await report.page.evaluate('window.paperCanvas'), screen);
    });
    cases['hostile: shows what a name holds as text'] = () => withReport(context, 'hostile', {}, async (report) => {
        assert.match(await report.page.title(), /^Playback report: <\/script><script>/);
        assert.match(await report.text('header p'), /<\/script><script>document\.title='taken'<\/script><!--"'&/);
        assert.equal(await report.page.$$eval('script', (scripts) => scripts.length), 2);
    });
    cases['play: without scripts tells the verdict'] = () => withReport(context, 'play', { hasScripts: false }, async (report) => {
        assert.equal(await report.text('noscript b'), 'Played and heard as sent');
    });
    cases['what a page asks for: nothing but itself and the sounds beside it'] = async () => {
        const isFault = (address) => {
            const listeners = {};
            const report = new OpenReport({ on: (event, listen) => { listeners[event] = listen; } }, 'file:///reports/play.html');
            listeners.request({ url: () => address });
            return report.faults.length > 0;
        };
        for (const address of ['file:///reports/play.html#at=1', 'file:///reports/20260102-030405-sent.flac', 'data:audio/flac;base64,AA']) {
            assert.equal(isFault(address), false, address);
        }
        for (const address of ['file:///elsewhere/sent.flac', 'file:///reports/deeper/sent.flac', 'http://somewhere/sent.flac',
            'file:///reports/play.js']) {
            assert.equal(isFault(address), true, address);
        }
    };
    cases['sizes: empty, of an hour and of a day'] = async () => {
        const size = (name) => {
            const html = fs.readFileSync(path.join(context.folder, `${name}.html`), 'utf8');
            return Buffer.byteLength(html.replace(/"flac":"[^"]*"/g, '"flac":""'));
        };
        for (const [name, most] of [['empty', 100], ['empty-record', 100], ['empty-soak', 100], ['hour', 1000], ['day', 3000]]) {
            console.log(`  ${name}: ${size(name)} bytes`);
            assert.ok(size(name) <= most * kilobyte, `${name} has ${size(name)} bytes`);
        }
    };
    return cases;
};
