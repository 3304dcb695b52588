// A chart on the time axis that all charts share: looks, pointer, keyboard, what screen readers hear.

const plots = [];
const axisPixels = 58;
const rightPixels = 26;
const timeSteps = [0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800,
    3600, 7200, 14400, 28800, 43200, 86400, 172800];

function axisLooks(axis) {
    return {
        stroke: () => colour('muted'),
        grid: { stroke: () => colour('grid'), width: 1 },
        ticks: { stroke: () => colour('rule'), width: 1, size: 4 },
        font: '12px system-ui, sans-serif',
        ...axis,
    };
}

const timeAxis = axisLooks({
    incrs: timeSteps,
    space: 70,
    size: 30,
    values: (u, places, number, space, step) => places.map((place) => formatClock(place, decimalsOf(step))),
});

// What a listener may hear, across every chart.
function drawMarks(u) {
    const ratio = devicePixelRatio;
    u.ctx.save();
    u.ctx.strokeStyle = colour('mark');
    u.ctx.setLineDash([3 * ratio, 3 * ratio]);
    u.ctx.lineWidth = ratio;
    for (const second of marks()) {
        if (second >= view.from && second <= view.to) {
            const x = Math.round(u.valToPos(second, 'x', true));
            u.ctx.beginPath();
            u.ctx.moveTo(x, u.bbox.top);
            u.ctx.lineTo(x, u.bbox.top + u.bbox.height);
            u.ctx.stroke();
        }
    }
    u.ctx.restore();
}

let markList = null;
const maxMarks = 300;

function marks() {
    markList ??= report.records.filter((record) => record.isFault).slice(0, maxMarks)
        .map((record) => record.fromMilliSec / 1000);
    return markList;
}

function onKey(event) {
    const step = (view.to - view.from) * (event.shiftKey ? 0.1 : 0.01);
    const at = view.at ?? (view.from + view.to) / 2;
    const actions = {
        ArrowLeft: () => readOutAt(at - step),
        ArrowRight: () => readOutAt(at + step),
        PageUp: () => pan(-0.5),
        PageDown: () => pan(0.5),
        Home: () => readOutAt(0),
        End: () => readOutAt(endSec),
        '+': () => zoom(0.5),
        '=': () => zoom(0.5),
        '-': () => zoom(2),
        0: showAll,
    };
    if (actions[event.key] && !event.ctrlKey && !event.metaKey && !event.altKey) {
        event.preventDefault();
        actions[event.key]();
    }
}

// `y` is uPlot's scale and axis; `readOut(second)` puts into words what is there. Returns the elements to show.
function addPlot({ title, height, series, data, y, axis, bands, draw, readOut }) {
    const host = make('div', {
        class: 'plot', tabindex: 0, role: 'slider', 'aria-label': `${title}, read out along the time axis`,
        'aria-valuemin': 0, 'aria-valuemax': report.endMilliSec, 'aria-valuenow': 0, keydown: onKey,
    });
    const output = make('p', { class: 'read-out', 'aria-hidden': 'true' });
    const u = new uPlot({
        width: 300, height, series, bands,
        legend: { show: false },
        padding: [8, rightPixels, 0, 0],
        cursor: {
            y: false, points: { show: false }, drag: { x: true, y: false, setScale: false },
            bind: { dblclick: () => () => { showAll(); return null; } },
        },
        select: { show: true, left: 0, top: 0, width: 0, height: 0 },
        scales: { x: { time: false, auto: false, range: () => [view.from, view.to] }, y },
        axes: [timeAxis, axisLooks({ size: axisPixels, ...axis })],
        hooks: {
            draw: [...(draw ? [draw] : []), drawMarks],
            setSelect: [zoomToSelection],
        },
    }, data, host);
    u.over.addEventListener('mousemove', (event) => readOutAt(u.posToVal(event.offsetX, 'x')));
    // The library hides its line when the pointer leaves; the place stays.
    u.over.addEventListener('mouseleave', tell);
    plots.push({ u, host, output, readOut });
    return [host, output];
}

function zoomToSelection(u) {
    const { left, width } = u.select;
    if (width > 3) {
        showSpan(u.posToVal(left, 'x'), u.posToVal(left + width, 'x'));
    }
    u.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
}

function refresh({ u, host, output, readOut }) {
    if (u.scales.x.min !== view.from || u.scales.x.max !== view.to) {
        // At once: the place below is asked for in the new scale.
        u.batch(() => u.setScale('x', { min: view.from, max: view.to }));
    }
    const isInView = view.at !== null && view.at >= view.from && view.at <= view.to;
    u.setCursor({ left: isInView ? u.valToPos(view.at, 'x') : -10, top: isInView ? 1 : -10 }, false);
    const words = view.at === null ? '' : `${formatClock(view.at)}: ${readOut(view.at)}`;
    output.textContent = words;
    host.setAttribute('aria-valuenow', Math.round((view.at ?? 0) * 1000));
    host.setAttribute('aria-valuetext', words || 'nothing read out yet: press an arrow key');
}

const paperPixels = 660;

function fit(pixels) {
    for (const { u, host } of plots) {
        const width = Math.floor(pixels ?? host.clientWidth);
        if (width > 0 && width !== u.width) {
            u.setSize({ width, height: u.height });
        }
    }
}

function redrawAll() {
    colours.clear();
    plots.forEach(({ u }) => u.redraw(false, true));
}

function keepLooks() {
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redrawAll);
    addEventListener('beforeprint', () => {
        document.documentElement.dataset.paper = '';
        fit(paperPixels);
        redrawAll();
    });
    addEventListener('afterprint', () => {
        delete document.documentElement.dataset.paper;
        fit();
        redrawAll();
    });
    new ResizeObserver(() => fit()).observe(document.getElementById('page'));
    watchers.push(() => plots.filter(({ readOut }) => readOut).forEach(refresh));
}
