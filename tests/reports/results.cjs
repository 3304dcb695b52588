// The verdicts outlive a case that hangs until the program is ended: they are written down as they come.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');

module.exports = ({ results, outcomes }) => ({
    'results: the verdicts so far are written down': async () => {
        const written = fs.readFileSync(results, 'utf8').match(/<testcase /g) ?? [];
        assert.ok(outcomes.length > 0);
        assert.equal(written.length, outcomes.length);
    },
});
