// The console in headless Chromium: a call, a screen change seen as an event, an error, a screenshot.
//
// Environment: TOLMAHOST (the built host), CHROMIUM (the browser), SCREENSHOT (where the picture
// goes). Exits 0 when every check passed, 1 with the first failure otherwise.
import { spawn } from 'node:child_process';
import { createRequire } from 'node:module';
import assert from 'node:assert/strict';

const require = createRequire(import.meta.url);
const { chromium } = require('playwright-core');

// The plug-in pushes "screenChanged" about 3 s after a change; everything else is quicker.
const EVENT_DEADLINE_MS = 10000;
const STEP_DEADLINE_MS = 5000;

function startHost() {
    const host = spawn(process.env.TOLMAHOST, ['--no-timestamps', 'serve', '--port', '0'], {
        env: { ...process.env, GSETTINGS_BACKEND: 'memory' },
        stdio: ['ignore', 'pipe', 'pipe'],
    });
    let out = '';
    host.stdout.on('data', (chunk) => { out += chunk; });
    host.stderr.on('data', (chunk) => { out += chunk; });
    const url = new Promise((resolve, reject) => {
        const timer = setTimeout(() => reject(new Error('no address printed:\n' + out)),
                                 STEP_DEADLINE_MS);
        host.stdout.on('data', () => {
            const m = /serving (http:\/\/127\.0\.0\.1:\d+\/)/.exec(out);
            if (m) {
                clearTimeout(timer);
                resolve(m[1]);
            }
        });
        host.on('exit', (code) => reject(new Error('the host ended (' + code + '):\n' + out)));
    });
    const ended = new Promise((resolve) => host.on('exit', (code, signal) => resolve({ code, signal })));
    return { host, url, ended, output: () => out };
}

async function main() {
    const server = startHost();
    const url = await server.url;
    const browser = await chromium.launch({
        executablePath: process.env.CHROMIUM,
        headless: true,
        args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking',
               '--disable-component-update', '--disable-sync', '--disable-quic'],
    });
    try {
        const page = await browser.newPage({ viewport: { width: 1280, height: 760 } });
        const pageErrors = [];
        page.on('pageerror', (error) => pageErrors.push(error.message));
        page.setDefaultTimeout(STEP_DEADLINE_MS);
        await page.goto(url);
        await page.waitForSelector('body[data-ready="true"]');
        await page.waitForSelector('#stream-state.on');

        // Every resource of the plug-in's list is offered, with its methods.
        const api = await (await page.request.get(url + 'api/resources')).json();
        const listed = await page.$$eval('#resource-list li', (items) => items.map((li) => li.dataset.name));
        assert.deepEqual(listed, api.resources.map((r) => r.name));

        // Screens GET: the answer shown holds one description per screen of the world panel.
        await page.waitForSelector('#screen-list li');
        const screensInWorld = await page.$$eval('#screen-list li', (items) => items.length);
        await page.click('#resource-list li[data-name="Screens"]');
        await page.selectOption('#method', 'get');
        await page.click('#send');
        await page.waitForFunction(() => document.getElementById('answer-status').textContent === 'status 200');
        const answer = JSON.parse(await page.textContent('#answer-json'));
        assert.equal(answer.error, null);
        assert.equal(answer.value.length, screensInWorld);
        assert.match(await page.textContent('#answer-log'), /uri:\/tolma\/Screens\t/);

        // A screen change from the world controls reaches the event panel as "screenChanged".
        // (The plug-in counts RandR events within 50 ms of the watch's start as one burst with
        // it: the click comes later, as a person's would.)
        await page.waitForTimeout(300);
        await page.click('#screens-drop-last');
        await page.waitForFunction((n) => document.querySelectorAll('#screen-list li').length === n,
                                   screensInWorld - 1);
        const event = await page.waitForSelector('#event-list li[data-name="screenChanged"]',
                                                 { timeout: EVENT_DEADLINE_MS });
        const payload = JSON.parse(await event.$eval('pre', (pre) => pre.textContent));
        assert.equal(payload.length, screensInWorld - 1);
        // The filter hides what does not match.
        await page.fill('#event-filter', 'monitorChanged');
        assert.equal(await event.isVisible(), false);
        await page.fill('#event-filter', 'screen');
        assert.equal(await event.isVisible(), true);

        // Bad input: the pre-fill of ScreensForPoint, then an index past the screens.
        await page.click('#resource-list li[data-name="ScreensForPoint"]');
        assert.equal(await page.inputValue('#params'), '{"point":"100x200"}');
        await page.click('#resource-list li[data-name="ScreenAtIndex"]');
        await page.fill('#params', '{"index":99}');
        await page.click('#send');
        await page.waitForFunction(() => document.getElementById('answer-status').textContent === 'status 400');
        assert.match(await page.textContent('#answer-json'), /index is invalid\./);
        assert.equal(await page.getAttribute('#answer-status', 'class'), 'status bad');

        // The history replays and copies a call as a command line.
        assert.equal(await page.$$eval('#history li', (items) => items.length), 2);
        await page.click('#history li:last-child button:has-text("Copy command")');
        assert.equal(await page.textContent('#answer-log'), "tolmahost call Screens --method get --query '{}'");
        await page.click('#history li:last-child button:has-text("Replay")');
        await page.waitForFunction(() => document.querySelectorAll('#history li').length === 3);
        assert.equal(await page.textContent('#answer-status'), 'status 200');

        await page.fill('#event-filter', '');
        await page.click('#resource-list li[data-name="Screens"]');
        await page.screenshot({ path: process.env.SCREENSHOT });
        assert.deepEqual(pageErrors, []);
    } finally {
        await browser.close();
    }

    // SIGINT ends the host cleanly, TearDown first.
    server.host.kill('SIGINT');
    const timer = setTimeout(() => server.host.kill('SIGKILL'), STEP_DEADLINE_MS);
    const end = await server.ended;
    clearTimeout(timer);
    assert.equal(end.code, 0, server.output());
    assert.match(server.output(), /host: TearDown\(\)/);
}

main().then(() => {
    console.log('console browser test passed');
}, (error) => {
    console.error(error);
    process.exit(1);
});
