// Numbers as people read them.

// 3723.45 -> "1:02:03.45"
function formatClock(second, decimals = 3) {
    const unit = 10 ** decimals;
    const whole = Math.round(Math.abs(second) * unit);
    const total = Math.floor(whole / unit);
    const two = (number) => String(number).padStart(2, '0');
    const hours = Math.floor(total / 3600);
    const minutes = Math.floor(total / 60) % 60;
    const rest = decimals > 0 ? `.${String(whole % unit).padStart(decimals, '0')}` : '';
    const start = hours > 0 ? `${hours}:${two(minutes)}` : String(minutes);
    return `${second < 0 && whole > 0 ? '-' : ''}${start}:${two(total % 60)}${rest}`;
}

// As many decimals as the step between ticks needs.
function decimalsOf(step) {
    let decimals = 0;
    while (decimals < 6 && Math.abs(step * 10 ** decimals - Math.round(step * 10 ** decimals)) > 1e-6) {
        decimals += 1;
    }
    return decimals;
}

function formatNumber(value, perUnit) {
    return (value / perUnit).toFixed(perUnit === 1 ? 0 : perUnit < 100 ? 1 : 2);
}

function formatValue(value, perUnit, unit) {
    return `${formatNumber(value, perUnit)}${unit ? ` ${unit}` : ''}`;
}

function formatFigure(figure) {
    const isWhole = figure.perUnit === 1;
    return `${isWhole ? figure.value : (figure.value / figure.perUnit).toFixed(1)}${figure.unit ? ` ${figure.unit}` : ''}`;
}

function sessionName(session) {
    return session === null || !report.sessions[session] ? 'no session' : report.sessions[session].name;
}

// The place of the last of ascending `values` that is not above `value`; -1 when all are.
function lastUpTo(values, value) {
    let low = -1;
    let high = values.length;
    while (high - low > 1) {
        const middle = (low + high) >> 1;
        if (values[middle] <= value) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return low;
}
