// Waves, spectrograms, and what there is to listen to.

const wavePixels = 130;
const spectrogramPixels = 190;
const fullScale = 32768;
const floorDecibel = -100;
const stepsPerDecibel = 2.5;

function decode(text) {
    return Uint8Array.from(atob(text), (letter) => letter.charCodeAt(0));
}

function peakOf(sound) {
    return Math.max(1, ...sound.wave.high.map(Math.abs), ...sound.wave.low.map(Math.abs));
}

// The next whole tenth, or hundredth of something quiet, that holds the peak of all sounds: they are to be compared.
function waveScale() {
    const share = report.sounds.reduce((peak, sound) => Math.max(peak, peakOf(sound)), 1) / fullScale;
    const step = share > 0.1 ? 0.1 : 0.01;
    return Math.max(step, Math.ceil(share / step - 1e-9) * step);
}

function stretchAt(sound, second) {
    return Math.floor(((second * 1000 - sound.startMilliSec) * 1000) / sound.wave.stretchMicroSec);
}

function makeWave(sound, scale) {
    const start = sound.startMilliSec / 1000;
    const step = sound.wave.stretchMicroSec / 1e6;
    const times = sound.wave.low.map((low, number) => start + (number + 0.5) * step);
    const share = (values) => values.map((value) => value / fullScale);
    const line = { stroke: () => colour('s1'), width: 1, points: { show: false } };
    const [host, output] = addPlot({
        title: sound.title,
        height: wavePixels,
        data: [times, share(sound.wave.low), share(sound.wave.high)],
        series: [{}, line, line],
        bands: [{ series: [2, 1], fill: () => colour('s1') }],
        y: { range: () => [-scale, scale] },
        axis: { splits: () => [-scale, 0, scale], values: (u, places) => places.map((place) => place.toFixed(scale < 0.1 ? 2 : 1)) },
        readOut: (second) => {
            const span = waveExtremes(sound, second, second);
            return span ? `${spanWords(span, fullScale / 100)} % of full scale` : 'no sound';
        },
    });
    return make('figure', { id: `wave-${sound.id}` }, make('figcaption', {}, make('h3', {}, `${sound.title} (of full scale)`)),
        host, output, makeTable(sound.title, () => ({
            heads: ['From', 'Samples (% of full scale)'],
            rows: stretchesInView().map(([from, to]) => [formatClock(from), spanWords(waveExtremes(sound, from, to), fullScale / 100)]),
        })));
}

function waveExtremes(sound, from, to) {
    const { low, high } = sound.wave;
    let span = null;
    for (let number = Math.max(0, stretchAt(sound, from)); number <= Math.min(stretchAt(sound, to), low.length - 1); number += 1) {
        span = joinSpans(span, [low[number], high[number]]);
    }
    return span;
}

// --- spectrograms ---------------------------------------------------------------------------------

// From silence to full scale, dark to bright: of even steps to the eye, also without colours.
const heat = [[0, 0, 4], [40, 11, 84], [101, 21, 110], [159, 42, 99], [212, 72, 66], [245, 125, 21], [250, 193, 39], [252, 255, 164]];

function heatColour(level) {
    const place = (level / 255) * (heat.length - 1);
    const low = Math.min(Math.floor(place), heat.length - 2);
    return heat[low].map((part, number) => part + (place - low) * (heat[low + 1][number] - part));
}

function paint(spectrogram, levels) {
    const { rows } = spectrogram;
    const columns = levels.length / rows;
    const picture = make('canvas', { width: columns, height: rows });
    const context = picture.getContext('2d');
    const pixels = context.createImageData(columns, rows);
    levels.forEach((level, number) => {
        const column = Math.floor(number / rows);
        const line = rows - 1 - (number % rows);
        pixels.data.set([...heatColour(level), 255], (line * columns + column) * 4);
    });
    context.putImageData(pixels, 0, 0);
    return picture;
}

function rowHz(spectrogram, row) {
    return spectrogram.lowHz * (spectrogram.highHz / spectrogram.lowHz) ** (row / spectrogram.rows);
}

function hzRow(spectrogram, hz) {
    return (spectrogram.rows * Math.log(hz / spectrogram.lowHz)) / Math.log(spectrogram.highHz / spectrogram.lowHz);
}

function loudest(sound, levels, second) {
    const { rows, columnMicroSec } = sound.spectrogram;
    const column = Math.floor(((second * 1000 - sound.startMilliSec) * 1000) / columnMicroSec);
    if (column < 0 || column * rows >= levels.length) {
        return 'no sound';
    }
    const here = levels.subarray(column * rows, (column + 1) * rows);
    const level = here.reduce((most, one) => Math.max(most, one), 0);
    const decibel = level / stepsPerDecibel + floorDecibel;
    return level === 0 ? 'silence' : `loudest near ${Math.round(rowHz(sound.spectrogram, here.indexOf(level) + 0.5))} Hz, ${decibel.toFixed(0)} dB`;
}

function makeSpectrogram(sound) {
    const { spectrogram } = sound;
    const levels = decode(spectrogram.levels);
    const picture = paint(spectrogram, levels);
    const from = sound.startMilliSec / 1000;
    const to = from + (picture.width * spectrogram.columnMicroSec) / 1e6;
    const title = `Spectrogram: ${sound.title}`;
    const [host, output] = addPlot({
        title,
        height: spectrogramPixels,
        data: [[from, to], [null, null]],
        series: [{}, { points: { show: false } }],
        y: { range: () => [0, spectrogram.rows] },
        axis: {
            splits: () => [100, 1000, 10000].map((hz) => hzRow(spectrogram, hz)),
            values: () => ['100 Hz', '1 kHz', '10 kHz'],
            grid: { show: false },
        },
        draw: (u) => {
            const { ctx, bbox } = u;
            ctx.save();
            ctx.beginPath();
            ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
            ctx.clip();
            ctx.imageSmoothingEnabled = false;
            const left = u.valToPos(from, 'x', true);
            ctx.drawImage(picture, left, bbox.top, u.valToPos(to, 'x', true) - left, bbox.height);
            ctx.restore();
        },
        readOut: (second) => loudest(sound, levels, second),
    });
    return make('figure', { id: `spectrogram-${sound.id}` }, make('figcaption', {}, make('h3', {}, title)), host, output,
        makeTable(title, () => ({
            heads: ['At', 'Loudest band'],
            rows: stretchesInView().map(([begin, end]) => [formatClock((begin + end) / 2), loudest(sound, levels, (begin + end) / 2)]),
        })));
}

// --- listening ------------------------------------------------------------------------------------

function makePlayer(sound) {
    const source = sound.flac ? `data:audio/flac;base64,${sound.flac}` : encodeURIComponent(sound.fileName);
    const audio = make('audio', { controls: '', preload: 'metadata', src: source, 'aria-label': sound.title });
    const start = sound.startMilliSec / 1000;
    audio.addEventListener('timeupdate', () => {
        if (!audio.paused) {
            readOutAt(start + audio.currentTime);
        }
    });
    const button = make('button', {
        type: 'button', click: () => {
            audio.currentTime = Math.max(0, (view.at ?? view.from) - start);
            audio.play();
        },
    }, 'Play from the place read out');
    return make('div', { class: 'player', id: `player-${sound.id}` }, make('h3', {}, sound.title), audio, button,
        ...(sound.fileName ? [make('p', { class: 'muted' }, `In the file ${sound.fileName} beside this page.`)] : []));
}
