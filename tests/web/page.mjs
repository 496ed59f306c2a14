// page.mjs MODULES ZTSIM CHROMIUM [FOLDER [WORD]]: the page of ztsim --web in a real browser, each test on a device of
// its own. With a folder it leaves pictures of the page there, and with a word it runs the tests with that in their names.
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import http from 'node:http';
import { createRequire } from 'node:module';
import path from 'node:path';

const [modules, ztsim, executablePath, pictures, word] = process.argv.slice(2);
const require = createRequire(path.resolve(modules) + '/');
const { chromium } = require('playwright-core');
const axe = require('axe-core');
const zt = path.join(path.dirname(ztsim), 'zt');
const here = import.meta.dirname || path.dirname(new URL(import.meta.url).pathname);

// A device whose command reads the lines of a shell from its input.
async function startDevice(...options) {
    const process = spawn(ztsim, ['--web', ...options, '--', 'sh'], { stdio: ['pipe', 'pipe', 'pipe'] });
    let said = '';
    const url = await new Promise((resolve, reject) => {
        process.stderr.on('data', data => {
            said += data;
            const found = /shown at (http:\S+)/.exec(said);
            if (found) resolve(found[1]);
        });
        process.on('exit', () => reject(new Error('ztsim has ended: ' + said)));
    });
    process.stdout.resume();
    return {
        url,
        run: line => process.stdin.write(line + '\n'),
        end: () => new Promise(resolve => {
            process.on('exit', resolve);
            process.stdin.end();
        }),
    };
}

// A way to the device that can be cut. What comes has the device's own address in it.
async function startProxy(url) {
    const host = new URL(url);
    const sockets = new Set();
    const server = http.createServer((request, response) => {
        const onward = http.request({ host: host.hostname, port: host.port, method: request.method, headers: request.headers,
            path: new URL(request.url).pathname + new URL(request.url).search }, answer => {
            response.writeHead(answer.statusCode, answer.headers);
            answer.pipe(response);
        });
        onward.on('error', () => response.destroy());
        response.on('close', () => onward.destroy());
        request.pipe(onward);
    });
    const track = socket => {
        sockets.add(socket);
        socket.on('close', () => sockets.delete(socket));
    };
    server.on('connection', track);
    await new Promise(resolve => server.listen(0, '127.0.0.1', resolve));
    const port = server.address().port;
    return {
        address: 'http://127.0.0.1:' + port,
        cut: async () => {
            for (const socket of sockets) socket.destroy();
            await new Promise(resolve => server.close(resolve));
        },
        mend: () => new Promise(resolve => server.listen(port, '127.0.0.1', resolve)),
        end: () => {
            for (const socket of sockets) socket.destroy();
            server.close();
        },
    };
}

const browser = await chromium.launch({ executablePath, args: process.getuid() === 0 ? ['--no-sandbox'] : [] });
let complaints = [];

async function open(url, options = {}) {
    const context = await browser.newContext({ viewport: { width: 1600, height: 1000 }, ...options });
    const page = await context.newPage();
    page.on('console', message => ['error', 'warning'].includes(message.type()) && complaints.push(message.text()));
    page.on('pageerror', error => complaints.push(String(error)));
    page.on('dialog', dialog => {
        complaints.push('a dialog: ' + dialog.message());
        dialog.dismiss();
    });
    await page.goto(url);
    await page.waitForSelector('.pill.good');
    await page.waitForSelector('form[data-verb="watch"]');
    return page;
}

const rows = page => page.locator('#rows tr').evaluateAll(list => list.map(row => row.innerText.replace(/\s+/g, ' ').trim()));
const waitFor = (page, text) => page.getByText(text, { exact: true }).first().waitFor();

async function submit(page, verb, fields = {}) {
    const form = page.locator(`form[data-verb="${verb}"]`);
    for (const [name, value] of Object.entries(fields)) {
        const field = form.locator(`[name="${name}"]`);
        const tag = await field.evaluate(element => element.type);
        if (tag === 'checkbox') await field.setChecked(value);
        else if (tag.startsWith('select')) await field.selectOption(value);
        else await field.fill(value);
    }
    await form.locator('button').click();
    return form.locator('output');
}

async function expectAccessible(page, name) {
    await page.evaluate(axe.source);
    const { violations } = await page.evaluate(() => globalThis.axe.run(document));
    assert.deepEqual(violations.map(each => `${each.id}: ${each.nodes.map(node => node.target).join(' ')}`), [], name);
}

const tests = {
    async 'what there is on the device is shown'() {
        const device = await startDevice('--name', 'left', '--power-state', '2', '--power-timeout', '4=77', '--device', 'beeper=1',
            '--propagation-time', '9', '--health-field', 'serial-number=A1', '--power-fault', 'silence@99');
        const page = await open(device.url);
        await page.waitForFunction(() => document.getElementById('state').textContent === '2');
        assert.equal(await page.title(), 'left – ztsim');
        assert.equal(await page.locator('#screen').textContent(), '2');
        assert.equal(await page.locator('#beeper').getAttribute('class'), 'part lit');
        assert.equal(await page.locator('[data-part="keypad"]').first().getAttribute('class'), 'part cool');
        const text = await page.locator('main').innerText();
        for (const part of ['state 4\n77', 'propagation time of state 2\n9', 'serial-number\nA1', 'address\n192.168.135.6', 'silence@99',
            'netmask\n255.255.255.0', 'gateway\n192.168.135.1', 'EEPROM\nopen', 'No client is connected.']) {
            assert.ok(text.includes(part), part);
        }
        device.run('ifconfig eth0 192.168.135.9');
        await waitFor(page, '192.168.135.9');
        await device.end();
    },

    async 'each part of the device is lit by its state'() {
        const device = await startDevice();
        const page = await open(device.url);
        await page.waitForSelector('#parts button');
        for (const name of await page.locator('#parts button span').allTextContents()) {
            assert.notEqual(await page.locator(`[data-part="${name}"]`).count(), 0, name);
            await submit(page, 'device', { NAME: name, STATE: '1' });
            await page.waitForFunction(part => document.querySelector(`[data-part="${part}"]`).classList.contains('lit'), name);
        }
        assert.equal(await page.locator('#parts button.lit').count(), 21);
        await device.end();
    },

    async 'what programs and commands do is told, with what led to it'() {
        const device = await startDevice();
        const page = await open(device.url);
        device.run(`${zt} power timeout 2 9; ${zt} power state 5`);
        await waitFor(page, 'by client 2, zt: power 5');
        await page.waitForFunction(() => document.querySelectorAll('.k-left').length === 2);
        assert.deepEqual((await rows(page)).reverse().map(row => row.replace(/^[0-9.]+ /, '')), [
            'came power 1 zt connected', '← from power 1 zt timeout 2 9', '→ to power 1 zt timeout state 2 value 9',
            '← from power 1 zt timeout 2', '→ to power 1 zt timeout state 2 value 9', 'left power 1 zt is gone', 'came power 2 zt connected',
            '← from power 2 zt power 5', '→ to power 2 zt new power state 5', '← from power 2 zt power', '→ to power 2 zt power state 5', 'left power 2 zt is gone',
        ]);
        await page.getByRole('button', { name: '3', exact: true }).click();
        await waitFor(page, 'by ctl: power 3');
        await submit(page, 'power-fault', { KIND: 'silence' });
        device.run(`timeout 1 ${zt} power state & sleep 0.2; exec sh`);
        await page.waitForSelector('.k-fault');
        assert.match((await rows(page)).find(row => row.includes('fault ')), /fault power 3 zt silence/);
        await device.end();
    },

    async 'there is a form for each command that ztsim ctl has'() {
        const device = await startDevice();
        const page = await open(device.url);
        const help = spawnSync(ztsim, ['ctl', '--help'], { encoding: 'utf8' }).stdout;
        const listed = help.split('COMMAND is one of\n')[1].match(/^ {2}[a-z-]+/gm).map(verb => verb.trim());
        assert.deepEqual(await page.locator('form').evaluateAll(forms => forms.map(form => form.dataset.verb)), listed);
        assert.ok(listed.length >= 15);
        for (const help of await page.locator('form p').allTextContents()) assert.notEqual(help, '');
        const answers = [['power', { STATE: '4' }, 'done'], ['power', { STATE: '' }, '4'], ['timeout', { STATE: '2', VALUE: '8' }, 'done'],
            ['propagation', { TIME: '31' }, 'propagation: TIME: "31" is not in 0..30'], ['device', { NAME: 'touch', STATE: '-1' }, 'done'],
            ['health', { NAME: 'serial-number', VALUE: 'two words' }, 'done'], ['health', { NAME: 'serial-number', VALUE: '' }, 'two words'],
            ['hang-up', { DAEMON: 'health' }, 'done'], ['power-fault', { KIND: 'hang-up@timeout 2' }, 'done'], ['power-fault', { KIND: 'none' }, 'done'],
            ['health-fault', { KIND: 'silence@10%' }, 'done'], ['slow', { TIME: '5ms', DAEMON: 'power' }, 'done'], ['deaf', { STATE: 'on', DAEMON: 'health' }, 'done'],
            ['await', { RECORD: 'power', '--wait': '0.1' }, 'no client has said "power" in time'], ['count', { RECORD: '' }, '0'],
            ['records', { RECORD: 'toast' }, 'records: no record begins with "toast", but with power, timeout, propagation, device, health or type']];
        for (const [verb, fields, answer] of answers) {
            const output = await submit(page, verb, fields);
            await output.filter({ hasText: answer }).waitFor();
            assert.equal(await output.textContent(), answer, verb);
            await output.evaluate(element => element.replaceChildren());
        }
        assert.match(await (await submit(page, 'show')).filter({ hasText: 'eeprom' }).textContent(), /power state 4/);
        await submit(page, 'watch');
        assert.equal(await page.evaluate(() => document.activeElement.id), 'scroll');
        await submit(page, 'await', { RECORD: 'timeout 1', '--wait': '' });
        await page.locator('form[data-verb="await"] button', { hasText: 'give up' }).waitFor();
        device.run(`ztsim ctl slow 0s; ${zt} power timeout 1`);
        await page.locator('form[data-verb="await"] output', { hasText: 'done' }).waitFor();
        await device.end();
    },

    async 'nothing that comes from the device is markup'() {
        const evil = '<img src=x onerror=alert(1)>';
        const device = await startDevice('--health-field', 'serial-number=' + evil, '--health-field', 'field-8=</script><b>8</b>');
        const page = await open(device.url);
        const elements = () => page.evaluate(() => [document.images.length, document.querySelectorAll('b b, td b, dd *, script').length]);
        const before = await elements();
        await waitFor(page, evil);
        await waitFor(page, '</script><b>8</b>');
        device.run(`python3 ${here}/hostile.py`);
        await page.locator('#rows tr', { hasText: 'device "<b onclick=a()' }).first().waitFor();
        await page.locator('#rows tr', { hasText: '"></td><i>hi' }).first().waitFor();
        await page.locator('#clients li', { hasText: '"></td><i>hi' }).first().waitFor();
        const said = await submit(page, 'health', { NAME: 'part-number', VALUE: '<svg/onload=alert(2)>' });
        await said.filter({ hasText: 'done' }).waitFor();
        await page.locator('#rows tr', { hasText: '<svg/onload=alert(2)>' }).waitFor();
        await said.evaluate(element => element.replaceChildren());
        assert.equal(await (await submit(page, 'health', { VALUE: '' })).filter({ hasText: '<svg' }).textContent(), '<svg/onload=alert(2)>');
        assert.deepEqual(await elements(), before);
        await assert.rejects(page.evaluate(() => { document.body.innerHTML = '<p>'; }), /TrustedHTML/);
        complaints = complaints.filter(text => !text.includes('TrustedHTML'));
        await device.end();
    },

    async 'the time line can be paused, filtered and searched'() {
        const device = await startDevice();
        const page = await open(device.url);
        device.run(`${zt} power timeout 2 9; ${zt} health get value-20; ztsim ctl power 1`);
        await page.locator('#rows tr', { hasText: 'power 1' }).first().waitFor();
        await page.waitForSelector('.k-ctl');
        const shown = async () => [...new Set(await page.locator('#rows tr').evaluateAll(list => list.map(row => row.className)))].sort();
        await page.locator('#filter').selectOption('received');
        await page.waitForFunction(() => !document.querySelector('.k-sent'));
        assert.deepEqual(await shown(), ['k-received']);
        await page.locator('#daemon').selectOption('health');
        await page.waitForFunction(() => document.querySelectorAll('#rows tr').length === 1);
        await page.locator('#filter').selectOption('');
        await page.locator('#daemon').selectOption('');
        await page.locator('#search').fill('VALUE 9');
        await page.waitForFunction(() => document.querySelectorAll('#rows tr').length === 2);
        await page.locator('#search').fill('');
        await page.locator('#bytes').check();
        await page.locator('code', { hasText: '00000000 02000000 09000000' }).first().waitFor();
        await page.locator('#pause').click();
        const before = await page.locator('#rows tr').count();
        device.run('ztsim ctl power 2');
        await page.getByRole('button', { name: 'Go on (1 new)' }).click();
        await page.waitForFunction(count => document.querySelectorAll('#rows tr').length === count + 1, before);
        await page.locator('#clear').click();
        await waitFor(page, 'Nothing yet that is to be shown.');
        await device.end();
    },

    async 'it keeps up with many records, and keeps the last of them'() {
        const device = await startDevice();
        const page = await open(device.url);
        const began = Date.now();
        device.run(`python3 ${here}/burst.py 20000`);
        await page.locator('#rows tr', { hasText: 'timeout 1 20000' }).first().waitFor();
        const took = Date.now() - began;
        assert.equal(await page.locator('#rows tr').count(), 200);
        assert.match(await page.locator('#count').textContent(), /^5000 of 5000 kept, of which the newest 200 are shown; \d+ older ones are gone$/);
        // Each record is answered, and a client comes and leaves.
        await page.waitForFunction(() => document.querySelector('.k-left'));
        assert.equal(await page.evaluate(() => lost + entries.length), 40002);
        assert.equal(await page.evaluate(() => entries.every((entry, index) => !index || entry.n > entries[index - 1].n)), true);
        console.log(`    40000 records both ways took ${took} ms`);
        await device.end();
    },

    async 'it connects again by itself, and has what it has missed'() {
        const device = await startDevice();
        const proxy = await startProxy(device.url);
        const page = await open(device.url, { proxy: { server: proxy.address, bypass: '<-loopback>' } });
        await waitFor(page, 'live');
        await submit(page, 'power', { STATE: '1' });
        await waitFor(page, 'by ctl: power 1');
        await proxy.cut();
        await waitFor(page, 'not reached, trying again');
        device.run('ztsim ctl power 4; ztsim ctl power 5');
        await proxy.mend();
        await waitFor(page, 'by ctl: power 5');
        await waitFor(page, 'live');
        assert.deepEqual((await rows(page)).map(row => row.replace(/^[0-9.]+ /, '')), ['command power 5', 'command power 4', 'command power 1']);
        proxy.end();
        await device.end();
        await waitFor(page, 'not reached, trying again');
        complaints = complaints.filter(text => !text.includes('Failed to load resource'));
    },

    async 'a change is shown soon'() {
        const device = await startDevice();
        const page = await open(device.url);
        await page.waitForSelector('#parts button');
        const times = await page.evaluate(async () => {
            const times = [];
            for (let turn = 0; turn < 20; turn++) {
                const wanted = String(turn % 6);
                const before = performance.now();
                await fetch('command' + query, { method: 'POST', body: JSON.stringify(['power', wanted]) });
                while (document.getElementById('state').textContent !== wanted) await new Promise(resolve => setTimeout(resolve, 1));
                times.push(performance.now() - before);
            }
            return times.sort((a, b) => a - b);
        });
        console.log(`    after ${Math.round(times[10])} ms in the middle, ${Math.round(times[19])} ms at most`);
        await device.end();
    },

    async 'it fits small and large screens, light and dark, and is accessible'() {
        const device = await startDevice('--name', 'bench-7', '--power-timeout', '2=120', '--propagation-time', '8', '--device', 'display=1',
            '--device', 'display_bl=1', '--device', 'status_led1=1', '--device', 'rgb_led=1', '--health-field', 'serial-number=ZT-2026-00417');
        device.run(`${zt} power watch >/dev/null & ${zt} power state 1; ${zt} power timeout 2 90; ${zt} eeprom serial-number; ztsim ctl power 3`);
        device.run(`ztsim ctl power-fault silence@99; ztsim ctl deaf on health; ztsim ctl device touch 1; ${zt} health get value-20`);
        for (const width of [360, 1600]) {
            for (const colorScheme of ['light', 'dark']) {
                const page = await open(device.url, { viewport: { width, height: 900 }, colorScheme });
                await page.locator('#rows tr', { hasText: 'device touch 1' }).waitFor();
                await page.waitForSelector('.daemon .tag');
                assert.equal(await page.evaluate(() => document.documentElement.dataset.theme), colorScheme);
                assert.equal(await page.evaluate(() => document.scrollingElement.scrollWidth), width);
                await expectAccessible(page, `${width} ${colorScheme}`);
                if (pictures) await page.screenshot({ path: `${pictures}/page-${width}-${colorScheme}.png`, fullPage: true });
                if (pictures && width === 1600 && colorScheme === 'light') {
                    await page.screenshot({ path: `${pictures}/page.png`, fullPage: true, clip: { x: 0, y: 0, width, height: 1030 } });
                }
            }
        }
        device.run('kill %1');
        await device.end();
    },

    async 'all can be reached by the keyboard'() {
        const device = await startDevice();
        const page = await open(device.url);
        await page.waitForSelector('#parts button');
        const count = await page.locator('button, input, select, [tabindex]').count();
        const reached = new Set();
        for (let index = 0; index < count; index++) {
            await page.keyboard.press('Tab');
            reached.add(await page.evaluate(() => [...document.querySelectorAll('*')].indexOf(document.activeElement)));
        }
        assert.equal(reached.size, count);
        await page.locator('form[data-verb="power"] input').focus();
        await page.keyboard.type('2');
        await page.keyboard.press('Enter');
        await waitFor(page, 'by ctl: power 2');
        await device.end();
    },
};

let failed = 0;
for (const [name, test] of Object.entries(tests).filter(([name]) => name.includes(word || ''))) {
    const began = Date.now();
    complaints = [];
    try {
        await test();
        assert.deepEqual(complaints, [], 'what the browser complains of');
        console.log(`ok   ${name} (${Date.now() - began} ms)`);
    } catch (error) {
        failed++;
        console.log('FAIL', name, '\n', error);
    }
    for (const context of browser.contexts()) await context.close();
}
await browser.close();
process.exit(failed ? 1 : 0);
