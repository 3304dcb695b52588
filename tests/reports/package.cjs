// The charts' library in the program is the one of the package, whose version is pinned.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');

module.exports = ({ charts }) => ({
    'uplot: the copy in the program is the package of the lock file': async () => {
        const packageFolder = path.dirname(path.dirname(require.resolve('uplot')));
        const lock = JSON.parse(fs.readFileSync(path.join(__dirname, 'package-lock.json'), 'utf8'));
        const installed = JSON.parse(fs.readFileSync(path.join(packageFolder, 'package.json'), 'utf8'));
        assert.equal(installed.version, lock.packages['node_modules/uplot'].version);
        for (const [copy, original] of [['uPlot.iife.min.js', 'dist/uPlot.iife.min.js'], ['uPlot.min.css', 'dist/uPlot.min.css'],
            ['LICENSE', 'LICENSE']]) {
            assert.ok(fs.readFileSync(path.join(charts, copy)).equals(fs.readFileSync(path.join(packageFolder, original))), copy);
        }
    },
    'npm: the lock file names no host to fetch from': async () => {
        const text = fs.readFileSync(path.join(__dirname, 'package-lock.json'), 'utf8');
        assert.doesNotMatch(text, /"resolved"/);
    },
});
