// The development console's behaviour: calls through /api/call, events from /api/events, world.
(function () {
    'use strict';

    var $ = function (id) { return document.getElementById(id); };
    var inputRows = [];
    var resources = [];
    var history = [];
    var initialScreens = null;
    var eventCount = 0;
    var MAX_EVENTS = 500;

    function pretty(text) {
        try {
            return JSON.stringify(JSON.parse(text), null, 2);
        } catch (e) {
            return text;
        }
    }

    function clock(ms) {
        var d = new Date(ms);
        var pad = function (n, w) { return String(n).padStart(w || 2, '0'); };
        return pad(d.getHours()) + ':' + pad(d.getMinutes()) + ':' + pad(d.getSeconds()) + '.' +
            pad(d.getMilliseconds(), 3);
    }

    function element(tag, className, text) {
        var e = document.createElement(tag);
        if (className)
            e.className = className;
        if (text !== undefined)
            e.textContent = text;
        return e;
    }

    function button(label, onClick, quiet) {
        var b = element('button', quiet ? 'quiet' : '', label);
        b.type = 'button';
        b.addEventListener('click', onClick);
        return b;
    }

    function postJson(path, value) {
        return fetch(path, {
            method: 'POST',
            headers: { 'Content-Type': 'application/json' },
            body: JSON.stringify(value)
        }).then(function (response) {
            return response.json().then(function (json) {
                if (!response.ok)
                    throw new Error(json.error || ('HTTP ' + response.status));
                return json;
            });
        });
    }

    // ---- The call form ----

    function chosenResource() {
        return resources.filter(function (r) { return r.name === $('resource').value; })[0];
    }

    function fillMethods() {
        var resource = chosenResource();
        var select = $('method');
        select.textContent = '';
        resource.methods.forEach(function (m) {
            var option = element('option', '', m.toUpperCase());
            option.value = m;
            select.appendChild(option);
        });
        Array.prototype.forEach.call($('resource-list').children, function (li) {
            li.classList.toggle('chosen', li.dataset.name === resource.name);
        });
    }

    function prefillForm() {
        var fields = TolmaPrefill.prefill(inputRows, $('resource').value, $('method').value);
        ['params', 'query', 'body'].forEach(function (id, column) {
            $(id).value = fields[column].text;
            var cell = fields[column].cell;
            $('help-' + id).textContent = cell === '' ? '(no row in the input table)' : cell;
        });
        $('options').value = '';
    }

    function choose(name, method) {
        $('resource').value = name;
        fillMethods();
        if (method)
            $('method').value = method;
        prefillForm();
    }

    function formRequest() {
        var request = { resource: $('resource').value, method: $('method').value };
        // Each argument goes as a JSON string: the plug-in receives exactly the text typed.
        ['params', 'query', 'body', 'options'].forEach(function (id) {
            if ($(id).value !== '')
                request[id] = $(id).value;
        });
        return request;
    }

    function shellQuote(text) {
        return "'" + text.replace(/'/g, "'\\''") + "'";
    }

    // The same request as a tolmahost command line. An empty field is left out (the command then
    // sends {} for params and query, which the plug-in reads as it reads an absent argument).
    function commandLine(request) {
        var words = ['tolmahost', 'call', request.resource];
        if (request.options !== undefined)
            words.push('--options', shellQuote(request.options));
        else
            words.push('--method', request.method);
        [['params', '--params'], ['query', '--query'], ['body', '--body']].forEach(function (p) {
            if (request[p[0]] !== undefined)
                words.push(p[1], shellQuote(request[p[0]]));
        });
        return words.join(' ');
    }

    function showAnswer(request, result) {
        var status = $('answer-status');
        status.textContent = 'status ' + result.status;
        status.className = 'status ' + (result.status >= 200 && result.status < 300 ? 'ok' : 'bad');
        $('answer-time').textContent = request.resource + ' ' + request.method.toUpperCase() +
            ', ' + result.milliseconds.toFixed(3) + ' ms' +
            (result.brokenRules ? ', ' + result.brokenRules + ' page-bridge rule(s) broken' : '');
        $('answer-json').textContent = pretty(result.answerText);
        $('answer-log').textContent = result.log.map(function (l) {
            return 'log [' + l.name + '] ' + l.level + ': ' + l.line;
        }).join('\n');
    }

    function showFailure(message) {
        var status = $('answer-status');
        status.textContent = 'not sent';
        status.className = 'status bad';
        $('answer-time').textContent = '';
        $('answer-json').textContent = message;
        $('answer-log').textContent = '';
    }

    function addHistory(request, result) {
        history.push(request);
        var li = element('li');
        li.appendChild(element('span', 'status ' + (result.status < 300 ? 'ok' : 'bad'),
                               String(result.status)));
        li.appendChild(element('span', 'what', request.resource + ' ' +
                               request.method.toUpperCase() + ' ' + (request.params || '') + ' ' +
                               (request.query || '')));
        li.appendChild(button('Replay', function () { send(request); }, true));
        li.appendChild(button('Copy command', function () {
            var text = commandLine(request);
            if (navigator.clipboard)
                navigator.clipboard.writeText(text).catch(function () {});
            $('answer-log').textContent = text;
        }, true));
        li.title = commandLine(request);
        $('history').insertBefore(li, $('history').firstChild);
    }

    function send(request) {
        $('send').disabled = true;
        return postJson('/api/call', request).then(function (result) {
            showAnswer(request, result);
            addHistory(request, result);
            return result;
        }).catch(function (error) {
            showFailure(error.message);
        }).then(function (result) {
            $('send').disabled = false;
            return result;
        });
    }

    // ---- Events ----

    function applyFilter(li) {
        var filter = $('event-filter').value.trim().toLowerCase();
        li.classList.toggle('hidden', filter !== '' &&
                            li.dataset.name.toLowerCase().indexOf(filter) < 0);
    }

    function addEvent(event) {
        var li = element('li');
        li.dataset.name = event.name;
        var head = element('div');
        head.appendChild(element('span', 'name', event.name));
        head.appendChild(document.createTextNode(' '));
        head.appendChild(element('span', 'muted', '#' + event.number + ' ' + clock(event.time)));
        li.appendChild(head);
        li.appendChild(element('pre', '', pretty(event.payloadText)));
        applyFilter(li);
        var list = $('event-list');
        list.insertBefore(li, list.firstChild);
        while (list.children.length > MAX_EVENTS)
            list.removeChild(list.lastChild);
        $('event-count').textContent = String(++eventCount);
    }

    function listenToEvents() {
        var source = new EventSource('/api/events');
        source.onopen = function () {
            $('stream-state').textContent = 'events: live';
            $('stream-state').className = 'badge on';
        };
        source.onerror = function () {
            $('stream-state').textContent = 'events: reconnecting';
            $('stream-state').className = 'badge off';
        };
        source.onmessage = function (message) {
            addEvent(JSON.parse(message.data));
        };
    }

    // ---- World ----

    function world(command) {
        return postJson('/api/world', { command: command }).then(function (answer) {
            return answer.output;
        });
    }

    function worldStep(command) {
        return world(command).then(function (output) {
            $('world-output').textContent = output;
            return refreshWorld();
        }).catch(function (error) {
            $('world-output').textContent = 'error: ' + error.message;
        });
    }

    function attached(item) {
        return item.attached === undefined || item.attached;
    }

    function refreshWorld() {
        return world(['world', 'show']).then(function (text) {
            var doc = JSON.parse(text);
            var screens = doc.screens || [];
            if (initialScreens === null)
                initialScreens = screens;
            $('screens-json').value = JSON.stringify(screens, null, 2);
            var list = $('screen-list');
            list.textContent = '';
            screens.forEach(function (s) {
                var b = s.bounds || {};
                list.appendChild(element('li', '', s.id + '  ' + (b.width || 0) + 'x' +
                    (b.height || 0) + ' at ' + (b.x || 0) + ',' + (b.y || 0) +
                    (s.primary ? '  primary' : '')));
            });
            if (screens.length === 0)
                list.appendChild(element('li', 'muted', 'no screens'));
            var devices = $('device-list');
            devices.textContent = '';
            [['monitors', 'monitor', 'serial', 'product'],
             ['sensors', 'sensor', 'deviceId', 'name'],
             ['serialSensors', 'serial-sensor', 'deviceId', 'name'],
             ['lightingDevices', 'lighting', 'serial', 'product']].forEach(function (kind) {
                (doc[kind[0]] || []).forEach(function (item) {
                    var id = String(item[kind[2]]);
                    var on = attached(item);
                    var li = element('li');
                    li.appendChild(element('span', 'id' + (on ? '' : ' detached'),
                        kind[1] + ' ' + id + ' ' + (item[kind[3]] || '')));
                    li.appendChild(button(on ? 'Unplug' : 'Plug', function () {
                        worldStep([on ? 'unplug' : 'plug', kind[1], id]);
                    }, on));
                    devices.appendChild(li);
                });
            });
            if (devices.children.length === 0)
                devices.appendChild(element('li', 'muted', 'no devices'));
        }).catch(function (error) {
            $('world-output').textContent = 'error: ' + error.message;
        });
    }

    // ---- Start ----

    function start() {
        fetch('/api/resources').then(function (r) { return r.json(); }).then(function (list) {
            resources = list.resources;
            inputRows = TolmaPrefill.parseInputTable(list.inputTable);
            var exported = resources.filter(function (r) { return r.exported; }).length;
            $('plugin-state').textContent = 'plug-in exports ' + exported + ' of ' +
                resources.length + ' resources';
            resources.forEach(function (r) {
                var option = element('option', '', r.name);
                option.value = r.name;
                $('resource').appendChild(option);
                var li = element('li');
                li.dataset.name = r.name;
                li.appendChild(element('span', '', r.name));
                // The letters of the plug-in's list: G get, U put, P post, D delete.
                var letters = { get: 'G', put: 'U', post: 'P', delete: 'D' };
                li.appendChild(element('span', 'methods', r.methods.map(function (m) {
                    return letters[m] || '?';
                }).join('')));
                if (!r.exported)
                    li.classList.add('detached');
                li.addEventListener('click', function () { choose(r.name); });
                $('resource-list').appendChild(li);
            });
            choose(resources[0].name);
            document.body.dataset.ready = 'true';
        });
        $('resource').addEventListener('change', function () { choose($('resource').value); });
        $('method').addEventListener('change', prefillForm);
        $('reset-form').addEventListener('click', prefillForm);
        $('call-form').addEventListener('submit', function (e) {
            e.preventDefault();
            send(formRequest());
        });
        $('event-filter').addEventListener('input', function () {
            Array.prototype.forEach.call($('event-list').children, applyFilter);
        });
        $('clear-events').addEventListener('click', function () {
            $('event-list').textContent = '';
            eventCount = 0;
            $('event-count').textContent = '0';
        });
        $('world-refresh').addEventListener('click', refreshWorld);
        $('world-default').addEventListener('click', function () { worldStep(['world', 'default']); });
        $('watch-devices').addEventListener('click', function () {
            choose('DeviceNotification', 'put');
            send(formRequest());
        });
        $('screens-event').addEventListener('click', function () { worldStep(['screens', 'event']); });
        $('screens-apply').addEventListener('click', function () {
            worldStep(['screens', 'change', $('screens-json').value]);
        });
        $('screens-drop-last').addEventListener('click', function () {
            var screens = JSON.parse($('screens-json').value || '[]');
            worldStep(['screens', 'change', JSON.stringify(screens.slice(0, -1))]);
        });
        $('screens-restore').addEventListener('click', function () {
            worldStep(['screens', 'change', JSON.stringify(initialScreens || [])]);
        });
        listenToEvents();
        refreshWorld();
    }

    start();
})();
