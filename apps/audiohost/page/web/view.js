// The report's data, which part of it is in view, and who is told when that changes.

const report = JSON.parse(document.getElementById('data').textContent);
const endSec = Math.max(report.endMilliSec / 1000, 0.05);
const shortestSec = 0.005;

// Seconds on the time axis; `at` is the place that is read out, or null. `hidden` are series, as "chart/number".
const view = { from: 0, to: endSec, at: null, hidden: new Set() };
const watchers = [];
let isTold = true;

// However often something changes, the page is drawn once a frame.
function tell() {
    if (isTold) {
        isTold = false;
        requestAnimationFrame(() => {
            isTold = true;
            watchers.forEach((watcher) => watcher());
        });
    }
}

function clamp(value, low, high) {
    return Math.min(Math.max(value, low), high);
}

function showSpan(from, to) {
    const length = clamp(to - from, shortestSec, endSec);
    view.from = clamp(from, 0, endSec - length);
    view.to = view.from + length;
    tell();
}

function showAll() {
    showSpan(0, endSec);
}

// Around the place that is read out, where it is in view.
function zoom(factor) {
    const isInView = view.at !== null && view.at >= view.from && view.at <= view.to;
    const middle = isInView ? view.at : (view.from + view.to) / 2;
    const length = clamp((view.to - view.from) * factor, shortestSec, endSec);
    const share = (middle - view.from) / (view.to - view.from);
    showSpan(middle - share * length, middle + (1 - share) * length);
}

function pan(share) {
    const step = share * (view.to - view.from);
    showSpan(view.from + step, view.to + step);
}

// The view follows a place that would leave it.
function readOutAt(second) {
    view.at = clamp(second, 0, endSec);
    if (view.at < view.from) {
        showSpan(view.at, view.at + view.to - view.from);
    } else if (view.at > view.to) {
        showSpan(view.at - (view.to - view.from), view.at);
    }
    tell();
}

// --- the address: whoever opens it sees the same --------------------------------------------------

const addressPauseMilliSec = 250;
let addressTimer = null;

function readAddress() {
    const asked = new URLSearchParams(location.hash.slice(1));
    const number = (name) => {
        const value = parseFloat(asked.get(name));
        return Number.isFinite(value) ? value : null;
    };
    const from = number('from');
    const to = number('to');
    showSpan(from ?? 0, to !== null && to > (from ?? 0) ? to : endSec);
    view.at = number('at') === null ? null : clamp(number('at'), 0, endSec);
    view.hidden = new Set((asked.get('hide') ?? '').split(',').filter((name) => name));
    tell();
}

function writeAddress() {
    const asked = new URLSearchParams();
    if (view.to - view.from < endSec) {
        asked.set('from', view.from.toFixed(3));
        asked.set('to', view.to.toFixed(3));
    }
    if (view.at !== null) {
        asked.set('at', view.at.toFixed(3));
    }
    if (view.hidden.size > 0) {
        asked.set('hide', [...view.hidden].join(','));
    }
    history.replaceState(null, '', `#${asked.toString().replace(/%2F/g, '/').replace(/%2C/g, ',')}`);
}

function followAddress() {
    readAddress();
    addEventListener('hashchange', readAddress);
    // Browsers allow a hundred changes of the address in half a minute.
    watchers.push(() => {
        clearTimeout(addressTimer);
        addressTimer = setTimeout(writeAddress, addressPauseMilliSec);
    });
}

// --- elements -------------------------------------------------------------------------------------

// make('p', { class: 'muted' }, 'text', element...). Texts are never read as HTML.
function make(name, attributes = {}, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) {
        if (typeof value === 'function') {
            element.addEventListener(key, value);
        } else if (value !== null) {
            element.setAttribute(key, value);
        }
    }
    element.append(...children);
    return element;
}

// --- colours, which the style sheet has for light, dark and paper ---------------------------------

const colours = new Map();

function colour(name) {
    if (!colours.has(name)) {
        colours.set(name, getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim());
    }
    return colours.get(name);
}

const seriesColours = 6;

function seriesColour(number) {
    return colour(`s${(number % seriesColours) + 1}`);
}

// A second round of the same colours is dashed.
function seriesDash(number) {
    return [[], [6, 3], [2, 2], [8, 3, 2, 3]][Math.floor(number / seriesColours) % 4];
}
