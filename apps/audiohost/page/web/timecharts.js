// Charts of values over time, and how often values were what.

const chartPixels = 200;
// Of more series than these only the lowest and the highest are read out.
const maxNamed = 6;

function valueAt(chart, series, second) {
    const times = series.timesMilliSec;
    const place = lastUpTo(times, second * 1000);
    if (chart.isStepped) {
        return place < 0 ? null : series.values[place];
    }
    const next = place + 1 < times.length ? place + 1 : place;
    const isNearer = place < 0 || times[next] - second * 1000 < second * 1000 - times[place];
    return times.length === 0 ? null : series.values[isNearer ? next : place];
}

function isHidden(chart, number) {
    return view.hidden.has(`${chart.id}/${number}`);
}

function readOutChart(chart, second) {
    const named = chart.series.map((series, number) => ({ name: series.name, value: valueAt(chart, series, second), number }))
        .filter(({ value, number }) => value !== null && !isHidden(chart, number));
    if (named.length === 0) {
        return 'nothing';
    }
    const say = ({ name, value }) => `${name && chart.series.length > 1 ? `${name} ` : ''}${formatValue(value, chart.perUnit, chart.unit)}`;
    if (named.length <= maxNamed) {
        return named.map(say).join(', ');
    }
    named.sort((a, b) => a.value - b.value);
    return `from ${say(named[0])} to ${say(named[named.length - 1])}`;
}

// Buttons that show and hide a series; nothing for a single one.
function makeLegend(chart, u) {
    if (chart.series.length < 2) {
        return [];
    }
    const buttons = chart.series.map((series, number) => {
        const swatch = make('i', { class: `swatch s${(number % seriesColours) + 1}` });
        const button = make('button', {
            type: 'button', class: 'key', click: () => {
                const name = `${chart.id}/${number}`;
                if (!view.hidden.delete(name)) {
                    view.hidden.add(name);
                }
                tell();
            },
        }, swatch, series.name || `series ${number + 1}`);
        watchers.push(() => {
            button.setAttribute('aria-pressed', String(!isHidden(chart, number)));
            if (u.series[number + 1].show === isHidden(chart, number)) {
                u.setSeries(number + 1, { show: !isHidden(chart, number) });
            }
        });
        return button;
    });
    return [make('div', { class: 'keys', role: 'group', 'aria-label': `Series of ${chart.title}`, tabindex: 0 }, ...buttons)];
}

function makeChart(chart) {
    const tables = chart.series.map((series) => [series.timesMilliSec.map((time) => time / 1000), series.values]);
    const data = tables.length > 1 ? uPlot.join(tables) : tables[0] ?? [[], []];
    const paths = chart.isStepped ? uPlot.paths.stepped({ align: 1 }) : undefined;
    const [host, output] = addPlot({
        title: chart.title,
        height: chartPixels,
        data,
        series: [{}, ...chart.series.map((series, number) => ({
            label: series.name, stroke: () => seriesColour(number), dash: seriesDash(number), width: 1.5, spanGaps: true,
            points: { show: false }, paths,
        }))],
        y: {
            range: (u, low, high) => {
                const least = Math.min(low ?? chart.low, chart.low);
                const most = Math.max(high ?? chart.high, chart.high);
                const room = (most - least) * 0.05;
                return [least - (least < chart.low ? room : 0), most + (most > chart.high ? room : 0)];
            },
        },
        axis: {
            values: (u, places, number, space, step) =>
                places.map((place) => (place / chart.perUnit).toFixed(decimalsOf(step / chart.perUnit))),
        },
        readOut: (second) => readOutChart(chart, second),
    });
    const { u } = plots[plots.length - 1];
    return make('figure', { id: `chart-${chart.id}` },
        make('figcaption', {}, make('h3', {}, `${chart.title}${chart.unit ? ` (${chart.unit})` : ''}`)),
        ...makeLegend(chart, u), host, output, makeTable(chart.title, () => chartRows(chart)));
}

// Of each stretch of what is in view the lowest and highest of each series, or of all when they are many.
function chartRows(chart) {
    const isJoined = chart.series.length > maxNamed;
    const names = isJoined ? ['all'] : chart.series.map((series) => series.name || chart.title);
    const unit = chart.unit ? ` (${chart.unit})` : '';
    const rows = stretchesInView().map(([from, to]) => {
        const spans = chart.series.map((series) => extremes(chart, series, from, to));
        const shown = isJoined ? [spans.reduce(joinSpans, null)] : spans;
        return [formatClock(from), ...shown.map((span) => spanWords(span, chart.perUnit))];
    });
    return { heads: ['From', ...names.map((name) => name + unit)], rows };
}

function extremes(chart, series, from, to) {
    const first = lastUpTo(series.timesMilliSec, from * 1000 - 0.5) + 1;
    const end = lastUpTo(series.timesMilliSec, to * 1000 - 0.5) + 1;
    const values = series.values.slice(first, end);
    if (values.length === 0) {
        return chart.isStepped && first > 0 ? [series.values[first - 1], series.values[first - 1]] : null;
    }
    return values.reduce((span, value) => joinSpans(span, [value, value]), null);
}

function joinSpans(a, b) {
    return a && b ? [Math.min(a[0], b[0]), Math.max(a[1], b[1])] : a ?? b;
}

function spanWords(span, perUnit) {
    if (!span) {
        return '';
    }
    const [low, high] = span.map((value) => formatNumber(value, perUnit));
    return low === high ? low : `${low} to ${high}`;
}

// --- histograms -----------------------------------------------------------------------------------

// Not on the time axis. Bars by the logarithm of their counts, so that what was rare can be seen.
function makeHistogram(histogram) {
    const host = make('div', { class: 'plot', role: 'img', 'aria-label': `${histogram.title}; the table has its numbers` });
    const places = histogram.counts.map((count, number) => (histogram.start + number * histogram.step) / histogram.perUnit);
    const u = new uPlot({
        width: 300, height: chartPixels, legend: { show: false }, padding: [8, rightPixels, 0, 0],
        cursor: { show: false },
        series: [{}, {
            stroke: () => colour('s1'), fill: () => colour('s1'), points: { show: false },
            paths: uPlot.paths.bars({ size: [0.9, Infinity], align: 1 }),
        }],
        scales: {
            x: { time: false, range: () => [places[0], places[places.length - 1] + histogram.step / histogram.perUnit] },
            y: { range: (chart, low, high) => [0, Math.log10(Math.max(2, 10 ** (high ?? 0) * 1.2))] },
        },
        axes: [
            axisLooks({ space: 60, size: 30 }),
            axisLooks({
                size: axisPixels,
                splits: (chart) => Array.from({ length: Math.floor(chart.scales.y.max) + 2 }, (one, power) => power),
                values: (chart, powers) => powers.map((power) => (power === 0 ? '0' : `${10 ** (power - 1)}`)),
            }),
        ],
    }, [places, histogram.counts.map((count) => (count > 0 ? Math.log10(count) + 1 : 0))], host);
    // Drawn and fitted with the others, but nothing to read out.
    plots.push({ u, host, output: null, readOut: null });
    return make('figure', { id: `histogram-${histogram.id}` },
        make('figcaption', {}, make('h3', {}, `${histogram.title} (${histogram.unit})`)), host,
        makeTable(`How often: ${histogram.title}`, () => ({
            heads: [`From (${histogram.unit})`, 'Count'],
            rows: histogram.counts.map((count, number) => [places[number].toFixed(decimalsOf(histogram.step / histogram.perUnit)),
                String(count)]).filter((row) => row[1] !== '0'),
        })));
}
