// A table behind each chart: made when it is opened, and anew when something else comes into view.

const tableRows = 24;

function stretchesInView() {
    const step = (view.to - view.from) / tableRows;
    return Array.from({ length: tableRows }, (one, number) => [view.from + number * step, view.from + (number + 1) * step]);
}

function fillTable(table, caption, { heads, rows }) {
    table.replaceChildren(make('caption', {}, caption),
        make('thead', {}, make('tr', {}, ...heads.map((head) => make('th', { scope: 'col' }, head)))),
        make('tbody', {}, ...rows.map((row) => make('tr', {}, ...row.map((cell) => make('td', {}, cell))))));
}

function makeTable(title, getRows) {
    const table = make('table');
    const scroll = make('div', { class: 'scroll', tabindex: 0, role: 'region', 'aria-label': `Table of ${title}` }, table);
    const details = make('details', {}, make('summary', {}, `${title} as a table`), scroll);
    let shown = '';
    const update = () => {
        const wanted = `${view.from} ${view.to}`;
        if (details.open && shown !== wanted) {
            shown = wanted;
            fillTable(table, `${title}, ${formatClock(view.from)} to ${formatClock(view.to)}`, getRows());
        }
    };
    details.addEventListener('toggle', update);
    watchers.push(update);
    return details;
}
