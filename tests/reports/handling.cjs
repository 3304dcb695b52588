// What a person does with a report: zooms, reads, listens, passes on; with the pointer and without.
'use strict';

const assert = require('node:assert/strict');
const { withReport, telephone } = require('./pages.cjs');

const spanText = '.toolbar output';

// Seconds of "0:01.200 to 0:02.400".
async function shownSpan(report) {
    await report.settle();
    return (await report.text(spanText)).split(' to ').map((clock) => clock.split(':')
        .reduce((seconds, part) => seconds * 60 + Number(part), 0));
}

async function drag(report, selector, from, to) {
    const start = await report.pointOf(selector, from);
    const end = await report.pointOf(selector, to);
    await report.page.mouse.move(start.x, start.y);
    await report.page.mouse.down();
    await report.page.mouse.move(end.x, end.y, { steps: 4 });
    await report.page.mouse.up();
}

// Left and right end of every chart on the time axis.
function spansOfCharts(report) {
    return report.page.evaluate(() => plots.filter((plot) => plot.readOut).map(({ u }) => [u.scales.x.min, u.scales.x.max]));
}

function near(actual, wanted, most) {
    assert.ok(Math.abs(actual - wanted) <= most, `${actual} is not within ${most} of ${wanted}`);
}

async function focused(page) {
    return page.evaluate(() => {
        const one = document.activeElement;
        return `${one.tagName} ${one.getAttribute('aria-label') ?? one.textContent.slice(0, 60)}`;
    });
}

module.exports = (context) => ({
    'play: dragging across a chart zooms all of them, a double click shows all again': () => withReport(context, 'play', {}, async (report) => {
        assert.deepEqual(await shownSpan(report), [0, 2.2]);
        await drag(report, '#chart-error', 0.25, 0.5);
        const [from, to] = await shownSpan(report);
        near(from, 0.55, 0.01);
        near(to, 1.1, 0.01);
        const spans = await spansOfCharts(report);
        assert.ok(spans.length >= 9, `${spans.length} charts`);
        for (const [low, high] of spans) {
            near(low, from, 0.001);
            near(high, to, 0.001);
        }
        const { x, y } = await report.pointOf('#wave-heard', 0.5);
        await report.page.mouse.click(x, y, { count: 2 });
        assert.deepEqual(await shownSpan(report), [0, 2.2]);
    }),

    'play: the pointer reads out the value that is there, in every chart': () => withReport(context, 'play', {}, async (report) => {
        // The first session's error is 31.25 ms at 1 s, of 2.2 s.
        const { x, y } = await report.pointOf('#chart-error', 1 / 2.2);
        await report.page.mouse.move(x, y);
        await report.settle();
        assert.match(await report.text('#chart-error .read-out'), /^0:(01\.00|00\.99)\d: voice\.wav 31\.25 ms, second\.mp3 1\.00 ms$/);
        assert.match(await report.text('#chart-frequency .read-out'), /voice\.wav 48000 Hz/);
        assert.match(await report.text('#wave-sent .read-out'), /% of full scale/);
        assert.match(await report.text('#spectrogram-sent .read-out'), /loudest near \d+ Hz, -\d+ dB/);
        const lines = await report.page.evaluate(() => plots.filter((plot) => plot.readOut).map(({ u }) => Math.round(u.cursor.left)));
        assert.ok(lines.every((line) => Math.abs(line - lines[0]) <= 1), lines.join(' '));
    }),

    'record: the pointer reads out level and loss': () => withReport(context, 'record', {}, async (report) => {
        const { x, y } = await report.pointOf('#chart-records', 1 / 2.023);
        await report.page.mouse.move(x, y);
        await report.settle();
        assert.match(await report.text('#chart-records .read-out'), /The ring began again: it left out 40 ms of sound/);
        assert.match(await report.text('#chart-level .read-out'), /0\.25$/);
    }),

    'play: buttons zoom and move, and never beyond the ends': () => withReport(context, 'play', {}, async (report) => {
        const press = (label) => report.page.click(`button[aria-label="${label}"]`);
        await press('Zoom in');
        let [from, to] = await shownSpan(report);
        near(to - from, 1.1, 0.002);
        await press('Later');
        await press('Later');
        await press('Later');
        [from, to] = await shownSpan(report);
        near(to, 2.2, 0.001);
        near(to - from, 1.1, 0.002);
        await press('Zoom out');
        await press('Zoom out');
        assert.deepEqual(await shownSpan(report), [0, 2.2]);
        for (let times = 0; times < 20; times += 1) {
            await press('Zoom in');
        }
        [from, to] = await shownSpan(report);
        near(to - from, 0.005, 0.0011);
    }),

    'play: the keyboard reaches everything, reads out and zooms': () => withReport(context, 'play', {}, async (report) => {
        const { page } = report;
        const expected = await page.$$eval('button, audio, summary, [tabindex="0"]', (all) => all.length);
        // Tables that are closed cannot be reached.
        const closed = await page.$$eval('details:not([open]) .scroll', (all) => all.length);
        const reached = new Set();
        for (let times = 0; times < 3 * expected; times += 1) {
            await page.keyboard.press('Tab');
            if (await page.evaluate(() => document.activeElement === document.body)) {
                break;
            }
            reached.add(await page.evaluate(() => {
                const all = [...document.querySelectorAll('button, audio, summary, [tabindex="0"]')];
                return all.indexOf(document.activeElement);
            }));
        }
        assert.equal(reached.size, expected - closed);
        await page.focus('#chart-error .plot');
        assert.match(await focused(page), /^DIV Presentation error/);
        await page.keyboard.press('Home');
        for (let times = 0; times < 10; times += 1) {
            await page.keyboard.press('ArrowRight');
        }
        await report.settle();
        // A hundredth of 2.2 s each.
        assert.match(await report.text('#chart-error .read-out'), /^0:00\.220: voice\.wav/);
        const said = await page.$eval('#chart-error .plot', (plot) => plot.getAttribute('aria-valuetext'));
        assert.equal(said, await report.text('#chart-error .read-out'));
        await page.keyboard.press('+');
        const [from, to] = await shownSpan(report);
        near(to - from, 1.1, 0.002);
        await page.keyboard.press('End');
        near((await shownSpan(report))[1], 2.2, 0.001);
        await page.keyboard.press('0');
        assert.deepEqual(await shownSpan(report), [0, 2.2]);
    }),

    'play: each chart has a table of what is in view': () => withReport(context, 'play', { hash: '#from=0.9&to=1.1' }, async (report) => {
        await report.page.click('#chart-error summary');
        await report.settle();
        assert.match(await report.text('#chart-error caption'), /0:00\.900 to 0:01\.100$/);
        assert.match(await report.text('#chart-error tbody'), /31\.25/);
        const starts = await report.page.$$eval('#chart-error td:first-child', (cells) => cells.map((cell) => cell.textContent));
        assert.deepEqual([starts[0], starts[12], starts.length], ['0:00.900', '0:01.000', 24]);
        await report.page.click('#chart-records summary');
        await report.page.click('button[aria-label="Show all of it"]');
        await report.settle();
        assert.match(await report.text('#chart-records tbody'), /second\.mp3stopped, frame came too late/);
        const figures = await report.page.$$eval('figure', (all) => all.filter((one) => !one.querySelector('details')).length);
        assert.equal(figures, 0);
    }),

    'play: the sound plays, and its place is read out': () => withReport(context, 'play', {}, async (report) => {
        const { page } = report;
        await page.waitForFunction(() => [...document.querySelectorAll('audio')].every((audio) => audio.readyState >= 1));
        const lengths = await page.$$eval('audio', (all) => all.map((audio) => audio.duration));
        // 2 s sent; heard half a second before and a tenth behind.
        near(lengths[0], 2.0, 0.001);
        near(lengths[1], 2.6, 0.001);
        await page.focus('#chart-error .plot');
        await page.keyboard.press('Home');
        for (let times = 0; times < 50; times += 1) {
            await page.keyboard.press('ArrowRight');
        }
        await page.$eval('#player-sent audio', (audio) => {
            audio.addEventListener('seeking', () => { window.soughtSecond ??= audio.currentTime; });
        });
        await page.click('#player-sent button');
        await page.waitForFunction(() => window.soughtSecond !== undefined);
        // 1.1 s on the axis is 0.9 s into the sound, which began at 0.2 s.
        near(await page.evaluate('window.soughtSecond'), 0.9, 0.01);
        await page.waitForFunction(() => document.querySelector('#player-sent audio').currentTime > 0.95);
        await page.waitForFunction(() => view.at > 1.1);
    }),

    'hour: a long sound is a file beside the page, and plays': () => withReport(context, 'hour', {}, async ({ page }) => {
        await page.waitForFunction(() => document.querySelector('#player-sent audio').readyState >= 1);
        near(await page.$eval('#player-sent audio', (audio) => audio.duration), 130, 0.01);
        await page.click('#player-sent button');
        await page.waitForFunction(() => document.querySelector('#player-sent audio').currentTime > 0.05);
    }),

    'play: the address holds the view, and opens it again': async () => {
        let hash = '';
        await withReport(context, 'play', {}, async (report) => {
            await drag(report, '#chart-error', 0.25, 0.5);
            await report.page.click('#chart-error .key:nth-child(2)');
            await report.waitForAddress(/from=0\.5\d+&to=1\.\d+&at=\d\.\d+&hide=error\/1$/);
            hash = await report.page.evaluate(() => location.hash);
        });
        await withReport(context, 'play', { hash }, async (report) => {
            const [from, to] = await shownSpan(report);
            near(from, 0.55, 0.01);
            near(to, 1.1, 0.01);
            assert.equal(await report.page.$eval('#chart-error .key:nth-child(2)', (key) => key.getAttribute('aria-pressed')), 'false');
            assert.doesNotMatch(await report.text('#chart-error .read-out'), /second\.mp3/);
            await report.page.evaluate(() => { location.hash = '#from=1&to=2'; });
            await report.page.waitForFunction(() => document.querySelector('.toolbar output').textContent === '0:01.000 to 0:02.000');
        });
    },

    'play: an address that makes no sense shows all, and too short a span 5 ms': () => withReport(context, 'play', { hash: '#from=NaN&to=-7&at=1e99&hide=,x' }, async (report) => {
        assert.deepEqual(await shownSpan(report), [0, 2.2]);
        await report.page.evaluate(() => { location.hash = '#from=1&to=1.0001'; });
        await report.page.waitForFunction(() => document.querySelector('.toolbar output').textContent === '0:01.000 to 0:01.005');
    }),

    'many: reads out the lowest and highest of 63 sessions': () => withReport(context, 'many', { hash: '#at=30' }, async (report) => {
        assert.match(await report.text('#chart-error .read-out'), /^0:30\.000: from file \d+\.wav -1\.\d\d ms to file \d+\.wav 1\.\d\d ms$/);
    }),

    'day: the one frame that was far out of time is still to be seen': () => withReport(context, 'day', { hash: '#at=3400.1' }, async (report) => {
        // The 17000th of five a second: 3400 s.
        assert.match(await report.text('#chart-error .read-out'), /38\.25 ms$/);
    }),

    'day: zooms about the middle; how long that takes is printed': () => withReport(context, 'day', {}, async (report) => {
        const { page } = report;
        const [first, last] = await shownSpan(report);
        near(last - first, 86400, 1);
        const timing = await page.evaluate(() => performance.getEntriesByType('navigation')[0].loadEventEnd);
        console.log(`  a day's report was loaded after ${timing.toFixed(0)} ms`);
        const spent = await page.evaluate(async () => {
            const frame = () => new Promise((resolve) => { requestAnimationFrame(resolve); });
            let most = 0;
            for (let times = 0; times < 5; times += 1) {
                zoom(0.7);
                const start = performance.now();
                await frame();
                await frame();
                most = Math.max(most, performance.now() - start);
            }
            return most;
        });
        console.log(`  the slowest of five zooms took ${spent.toFixed(0)} ms`);
        const [from, to] = await shownSpan(report);
        near(to - from, (last - first) * 0.7 ** 5, 1);
        near((from + to) / 2, (first + last) / 2, 1);
        for (const [low, high] of await spansOfCharts(report)) {
            near(low, from, 1);
            near(high, to, 1);
        }
    }),

    'play: a telephone zooms by its buttons': () => withReport(context, 'play', { viewport: telephone }, async (report) => {
        await report.page.tap('button[aria-label="Zoom in"]');
        const [from, to] = await shownSpan(report);
        near(to - from, 1.1, 0.002);
    }),
});
