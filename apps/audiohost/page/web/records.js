// What the renderer told and what was found, on the time axis: a lane for each session.

const lanePixels = 16;
const recordAxisPixels = 44;
const maxRecordsSaid = 5;
const maxRecordRows = 300;

function laneOf(record) {
    return record.session === null ? report.sessions.length : record.session;
}

function recordWords(record) {
    const times = record.count > 1 ? ` (${record.count} times)` : '';
    return `${sessionName(record.session)}: ${record.text}${times}`;
}

// Those under the place, or within a few pixels of it.
function recordsNear(second) {
    const slack = (view.to - view.from) / 100;
    return report.records.filter((record) => record.fromMilliSec / 1000 <= second + slack && record.toMilliSec / 1000 >= second - slack);
}

function drawRecords(u) {
    const { ctx } = u;
    const ratio = devicePixelRatio;
    ctx.save();
    ctx.beginPath();
    ctx.rect(u.bbox.left, u.bbox.top, u.bbox.width, u.bbox.height);
    ctx.clip();
    for (const record of report.records) {
        if (record.toMilliSec / 1000 >= view.from && record.fromMilliSec / 1000 <= view.to) {
            const left = u.valToPos(record.fromMilliSec / 1000, 'x', true);
            const right = u.valToPos(record.toMilliSec / 1000, 'x', true);
            const top = u.valToPos(laneOf(record) + 0.3, 'y', true);
            ctx.fillStyle = record.isFault ? colour('mark') : colour('s1');
            ctx.fillRect(left - 2 * ratio, top, Math.max(right - left, 0) + 4 * ratio, u.valToPos(laneOf(record) - 0.3, 'y', true) - top);
        }
    }
    ctx.restore();
}

function makeRecords() {
    const lanes = report.sessions.length + 1;
    const title = 'Records of the log';
    const [host, output] = addPlot({
        title,
        height: clamp(lanes * lanePixels, 2 * lanePixels, 24 * lanePixels) + recordAxisPixels,
        data: [[0, endSec], [null, null]],
        series: [{}, { points: { show: false } }],
        // The first session is on top.
        y: { range: () => [-0.5, lanes - 0.5], dir: -1 },
        axis: { values: (u, places) => places.map((place) => (place === lanes - 1 ? 'none' : `${place + 1}`)), incrs: [1, 2, 5, 10, 20], space: lanePixels },
        draw: drawRecords,
        readOut: (second) => {
            const near = recordsNear(second);
            const more = near.length > maxRecordsSaid ? `; and ${near.length - maxRecordsSaid} more` : '';
            return near.length === 0 ? 'no record' : near.slice(0, maxRecordsSaid).map(recordWords).join('; ') + more;
        },
    });
    return make('figure', { id: 'chart-records' },
        make('figcaption', {}, make('h3', {}, `${title} (lanes are sessions)`)), host, output,
        makeTable(title, () => {
            const inView = report.records.filter((record) => record.toMilliSec / 1000 >= view.from && record.fromMilliSec / 1000 <= view.to);
            const left = inView.length - maxRecordRows;
            const rows = inView.slice(0, maxRecordRows).map((record) => [formatClock(record.fromMilliSec / 1000),
                formatClock(record.toMilliSec / 1000), sessionName(record.session), record.kind, record.text, String(record.count)]);
            return {
                heads: ['From', 'To', 'Session', 'Kind', 'Text', 'Times'],
                rows: left > 0 ? [...rows, [`${left} more: zoom in`, '', '', '', '', '']] : rows,
            };
        }));
}
