// The console's form pre-fill, read from the README's resource input table (served as text).
//
// Each table row names a resource, its methods and three cells: selectors (2nd argument), options
// (3rd) and content (4th). A cell becomes a pre-filled argument by these rules:
// - "—" (or nothing): the field stays empty, and the argument is sent as "" (absent).
// - "as for `Resource` METHOD": that row's cell. "as for GET / DELETE above": for a method the
//   cell names, the nearest row above that serves the method; for any other method "—".
// - "one of `a`, `b` ... or none": "{}", the choice that needs nothing.
// - otherwise, the keys are the names in backquotes before the first ':' or ';' of the cell
//   (after "and/or" only the first one), each with "" or, when the cell gives one with "e.g.",
//   that example. A cell without such names (e.g. "the sections: ...") gives "{}".
// Loaded by the page as a script and by Node.js as a module.
(function (root) {
    'use strict';

    var DASH = '\u2014';
    var NAME = /^[A-Za-z][A-Za-z0-9]*$/;

    function stripTicks(cell) {
        var m = /^`([^`]*)`$/.exec(cell.trim());
        return m ? m[1] : cell.trim();
    }

    // The rows: {resource, methods: ['get', ...], cells: [selectors, options, content], answer}.
    function parseInputTable(text) {
        var rows = [];
        text.split('\n').forEach(function (line) {
            if (!/^\|/.test(line) || /^\|\s*-/.test(line) || /^\| Resource \|/.test(line))
                return;
            var cells = line.split('|').slice(1, -1).map(function (c) { return c.trim(); });
            if (cells.length < 5)
                return;
            rows.push({
                resource: stripTicks(cells[0]),
                methods: cells[1].split(',').map(function (m) { return m.trim().toLowerCase(); }),
                cells: [cells[2], cells[3], cells[4]],
                answer: cells.length > 5 ? cells[5] : ''
            });
        });
        return rows;
    }

    function rowIndex(rows, resource, method) {
        for (var i = 0; i < rows.length; ++i) {
            if (rows[i].resource === resource && rows[i].methods.indexOf(method) >= 0)
                return i;
        }
        return -1;
    }

    // The cell that holds the argument `column` (0, 1, 2) of a resource's method, "as for"
    // references followed; "" when the table has no row for it.
    function inputCell(rows, resource, method, column) {
        var index = rowIndex(rows, resource, method);
        for (var hops = 0; index >= 0 && hops < 10; ++hops) {
            var cell = rows[index].cells[column];
            var named = /^as for `([^`]+)` ([A-Z]+)/.exec(cell);
            if (named) {
                index = rowIndex(rows, named[1], named[2].toLowerCase());
                continue;
            }
            var above = /^as for ([A-Z /]+?) above/.exec(cell);
            if (!above)
                return cell;
            var listed = above[1].split('/').map(function (m) { return m.trim().toLowerCase(); });
            if (listed.indexOf(method) < 0)
                return DASH;
            var from = index;
            index = -1;
            for (var i = from - 1; i >= 0; --i) {
                if (rows[i].methods.indexOf(method) >= 0) {
                    index = i;
                    break;
                }
            }
        }
        return '';
    }

    // The part of a cell before its first ':' or ';' outside backquotes.
    function head(cell) {
        var inTicks = false;
        for (var i = 0; i < cell.length; ++i) {
            var c = cell.charAt(i);
            if (c === '`')
                inTicks = !inTicks;
            else if (!inTicks && (c === ':' || c === ';'))
                return cell.slice(0, i);
        }
        return cell;
    }

    function exampleValue(cell) {
        var m = /e\.g\. `([^`]*)`/.exec(cell);
        if (!m)
            return '';
        try {
            return JSON.parse(m[1]);
        } catch (e) {
            return m[1];
        }
    }

    // The pre-filled text of an argument from its cell.
    function prefillFromCell(cell) {
        cell = (cell || '').trim();
        if (cell === '' || cell === DASH)
            return '';
        if (/^one of /.test(cell))
            return '{}';
        var part = head(cell);
        var alternatives = part.indexOf('and/or') >= 0;
        var keys = [];
        var re = /`([^`]*)`/g;
        var m;
        while ((m = re.exec(part)) !== null) {
            if (NAME.test(m[1]) && keys.indexOf(m[1]) < 0)
                keys.push(m[1]);
        }
        if (alternatives)
            keys = keys.slice(0, 1);
        var value = {};
        var example = keys.length === 1 ? exampleValue(cell) : '';
        keys.forEach(function (key) { value[key] = example; });
        return JSON.stringify(value);
    }

    function prefill(rows, resource, method) {
        return [0, 1, 2].map(function (column) {
            var cell = inputCell(rows, resource, method, column);
            return { cell: cell, text: prefillFromCell(cell) };
        });
    }

    var api = {
        parseInputTable: parseInputTable,
        inputCell: inputCell,
        prefillFromCell: prefillFromCell,
        prefill: prefill
    };
    if (typeof module !== 'undefined' && module.exports)
        module.exports = api;
    else
        root.TolmaPrefill = api;
})(this);
