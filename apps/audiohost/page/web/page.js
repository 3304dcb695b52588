// The page from top to bottom.

const gradeSigns = { good: '\u2713', fair: '!', bad: '\u2717' };

const maxSessionTables = 3;

function makeHeader() {
    return make('header', {}, make('h1', {}, report.title), make('p', {}, `${report.subject} \u00b7 ${report.startedAt}`),
        make('p', { class: `verdict ${report.verdict.grade}` }, `${gradeSigns[report.verdict.grade]} ${report.verdict.text}`));
}

function makeFigures() {
    return make('dl', { class: 'tiles' }, ...report.figures.map((figure) =>
        make('div', { class: 'tile' }, make('dt', {}, figure.name), make('dd', {}, formatFigure(figure)))));
}

function makeParts() {
    return report.parts.map((part) => make('section', {}, make('h3', {}, part.title), make('p', {}, part.sentences.join(' '))));
}

function makeToolbar() {
    const span = make('output', { 'aria-live': 'polite' });
    watchers.push(() => { span.textContent = `${formatClock(view.from)} to ${formatClock(view.to)}`; });
    const button = (text, label, click) => make('button', { type: 'button', title: label, 'aria-label': label, click }, text);
    return make('div', { class: 'toolbar', role: 'group', 'aria-label': 'Time axis' },
        button('\u2212', 'Zoom out', () => zoom(2)), button('+', 'Zoom in', () => zoom(0.5)),
        button('\u2190', 'Earlier', () => pan(-0.5)), button('\u2192', 'Later', () => pan(0.5)),
        button('All', 'Show all of it', showAll), span);
}

function makeHelp() {
    return make('p', { class: 'muted' }, `Time counts ${report.timeZero}. Drag across a chart to zoom in, double-click to see all; with a `
        + 'chart in focus the arrow keys move the place read out, + and \u2212 zoom, Page Up and Page Down move on, 0 shows all. '
        + 'Red lines are what a listener may hear. The address holds what is in view.');
}

function makeSession(session, number) {
    const table = make('table');
    fillTable(table, session.description, { heads: ['What', 'Value'], rows: session.figures.map((figure) => [figure.name, formatFigure(figure)]) });
    return make('section', {}, make('h3', {}, session.name),
        make('div', { class: 'scroll', tabindex: 0, role: 'region', 'aria-label': `Figures of session ${number + 1}, ${session.name}` }, table));
}

// Many sessions are lines of one table.
function makeSessions() {
    if (report.sessions.length <= maxSessionTables) {
        return report.sessions.map(makeSession);
    }
    const names = [...new Set(report.sessions.flatMap((session) => session.figures.map((figure) => figure.name)))];
    const value = (session, name) => {
        const figure = session.figures.find((one) => one.name === name);
        return figure ? formatFigure(figure) : '';
    };
    const table = make('table');
    fillTable(table, 'Figures of each session', {
        heads: ['Session', ...names],
        rows: report.sessions.map((session) => [session.name, ...names.map((name) => value(session, name))]),
    });
    return [make('div', { class: 'scroll', tabindex: 0, role: 'region', 'aria-label': 'Figures of each session' }, table)];
}

function makeFacts() {
    return make('dl', { class: 'facts' }, ...report.facts.map((fact) =>
        make('div', {}, make('dt', {}, fact.name), make('dd', {}, fact.value))));
}

function section(title, ...children) {
    return children.length === 0 ? [] : [make('h2', {}, title), ...children];
}

function makeTimeline() {
    const scale = waveScale();
    const listened = report.sounds.filter((sound) => sound.flac || sound.fileName);
    return [makeHelp(), makeToolbar(),
        ...(listened.length > 0 ? [make('div', { class: 'players' }, ...listened.map(makePlayer))] : []),
        ...report.sounds.filter((sound) => sound.wave.low.length > 0).map((sound) => makeWave(sound, scale)),
        ...report.charts.filter((chart) => chart.series.some((series) => series.values.length > 0)).map(makeChart),
        ...(report.records.length > 0 ? [makeRecords()] : []),
        ...report.sounds.filter((sound) => sound.spectrogram.rows > 0).map(makeSpectrogram)];
}

function start() {
    document.getElementById('page').append(makeHeader(), makeFigures(), ...section('In words', ...makeParts()), ...section('Over time', ...makeTimeline()),
        ...section('How often', ...report.histograms.filter((histogram) => histogram.counts.length > 0).map(makeHistogram)),
        ...section(report.sessions.length > 1 ? 'Sessions' : 'In numbers', ...makeSessions()),
        ...section('What was run', ...(report.facts.length > 0 ? [makeFacts()] : [])));
    keepLooks();
    fit();
    followAddress();
}

start();
