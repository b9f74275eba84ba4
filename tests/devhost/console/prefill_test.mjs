// The console's form pre-fill read from the README's input table, case by case, and its coverage.
// Usage: node prefill_test.mjs README.md resources.h
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';

const require = createRequire(import.meta.url);
const prefill = require('../../../devhost/console/prefill.js');
const [readmePath, resourcesPath] = process.argv.slice(2);
const readme = readFileSync(readmePath, 'utf8');
const rows = prefill.parseInputTable(readme.slice(readme.indexOf('| Resource | Method')));

test('cells become arguments by the documented rules', () => {
    const cases = [
        ['\u2014', ''],
        ['', ''],
        ['`index`', '{"index":""}'],
        ['`product`, `serial` (strings of the monitor)', '{"product":"","serial":""}'],
        ['`point` (`"XxY"`, e.g. `"100x200"`)', '{"point":"100x200"}'],
        ['one of `profile`, `gamma` present (first wins), or none', '{}'],
        ['`filter` (read as text): `state`, `currentUser`', '{"filter":""}'],
        ['`process` (read as text; `""` or absent: the list)', '{"process":""}'],
        ['`profile` (path text) and/or `gamma` (`{red,green,blue}`)', '{"profile":""}'],
        ['the sections: an object answers `os`, `cpu`', '{}'],
        ['`supports` present (value not looked at); anything else answers 400', '{"supports":""}'],
    ];
    for (const [cell, expected] of cases)
        assert.equal(prefill.prefillFromCell(cell), expected, cell);
});

test('references to other rows are followed', () => {
    const table = prefill.parseInputTable([
        '| `A` | GET | `index` | `gamma` present | \u2014 | x |',
        '| `A` | PUT | `index` | \u2014 | `profile` (path) | x |',
        '| `B` | GET | \u2014 | as for `A` GET | \u2014 | x |',
        '| `C` | GET, PUT | `point` | as for GET above | as for PUT above | x |',
    ].join('\n'));
    assert.equal(prefill.inputCell(table, 'B', 'get', 1), '`gamma` present');
    assert.equal(prefill.inputCell(table, 'C', 'get', 1), '`gamma` present');
    assert.equal(prefill.inputCell(table, 'C', 'put', 1), '\u2014');
    assert.equal(prefill.inputCell(table, 'C', 'put', 2), '`profile` (path)');
    assert.equal(prefill.inputCell(table, 'C', 'get', 2), '\u2014');
    assert.equal(prefill.inputCell(table, 'D', 'get', 0), '');
});

test('the README has a row for every method of every resource', () => {
    const letters = { G: 'get', U: 'put', P: 'post', D: 'delete' };
    const list = [...readFileSync(resourcesPath, 'utf8').matchAll(/X\((\w+), "([GUPD]+)"\)/g)];
    assert.ok(list.length > 0);
    for (const [, name, methods] of list) {
        for (const letter of methods) {
            const cells = prefill.prefill(rows, name, letters[letter]).map((f) => f.cell);
            assert.ok(cells.every((cell) => cell !== ''), name + ' ' + letters[letter]);
        }
    }
});

test('the README rows pre-fill what the plug-in reads', () => {
    const text = (name, method) => prefill.prefill(rows, name, method).map((f) => f.text);
    assert.deepEqual(text('ScreensForPoint', 'get'), ['{"point":"100x200"}', '{}', '']);
    assert.deepEqual(text('ScreensForMonitor', 'put'), ['{"product":"","serial":""}', '', '{"profile":""}']);
    assert.deepEqual(text('SystemPreferredLanguage', 'get'), ['', '{"resources":"","fallback":""}', '']);
});
