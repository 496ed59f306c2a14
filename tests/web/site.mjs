// site.mjs MODULES SITE CHROMIUM [all [FOLDER]]: each page of the site in a real browser, at three widths: nothing is wider
// than the window, no script fails, and nothing is fetched but files of the site. Of each kind of page one is looked at by
// axe, light and dark, or each page with "all". The search finds a class, and a button makes light dark. With a folder it
// leaves pictures of these pages there.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { pathToFileURL } from 'node:url';

const [modules, site, executablePath, all, pictures] = process.argv.slice(2);
const require = createRequire(path.resolve(modules) + '/');
const { chromium } = require('playwright-core');
const axe = fs.readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');
const root = pathToFileURL(path.resolve(site)).href;
const pages = fs.readdirSync(site, { recursive: true }).filter(name => name.endsWith('.html')).sort();
const WIDTHS = [360, 768, 1600];
const OF_EACH_KIND = /^(index|search|docs\/(guide\/(wire-formats|in-pictures|workstation)|how-to\/README|performance)|examples\/wake_up|manual\/zt|reference\/(index|ZTPipe))\.html$/;

const browser = await chromium.launch({ executablePath, args: process.getuid() === 0 ? ['--no-sandbox'] : [] });
const faults = [];

async function open(colorScheme) {
    const context = await browser.newContext({ colorScheme, viewport: { width: WIDTHS[0], height: 900 } });
    context.setDefaultTimeout(0); // a busy machine is no fault
    const page = await context.newPage();
    page.on('request', request => request.url().startsWith(root + '/') || request.url().startsWith('data:') ||
        faults.push(`${page.url()} fetches ${request.url()}`));
    page.on('pageerror', error => faults.push(`${page.url()}: ${error}`));
    page.on('console', message => ['error', 'warning'].includes(message.type()) && faults.push(`${page.url()}: ${message.text()}`));
    return page;
}

async function visit(page, name, scheme) {
    const looked = all === 'all' || OF_EACH_KIND.test(name);
    if (scheme === 'dark' && !looked) return;
    await page.goto(`${root}/${name}`);
    for (const width of WIDTHS) {
        await page.setViewportSize({ width, height: 900 });
        const wide = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
        if (wide > 0) faults.push(`${name} is ${wide} pixels wider than ${width}`);
        if (pictures && OF_EACH_KIND.test(name)) {
            await page.screenshot({ path: path.join(pictures, `${name.replaceAll('/', '-')}-${width}-${scheme}.png`) });
        }
    }
    if (!looked) return;
    await page.evaluate(axe);
    const { violations } = await page.evaluate(() => window.axe.run({ resultTypes: ['violations'], preload: false }));
    for (const { id, nodes } of violations) {
        faults.push(`${name}, ${scheme}: ${id}: ${nodes.slice(0, 3).map(node => node.html.slice(0, 200)).join('\n    ')}`);
    }
}

const next = { light: 0, dark: 0 };
async function walk(scheme) {
    const page = await open(scheme);
    while (next[scheme] < pages.length) await visit(page, pages[next[scheme]++], scheme);
}
await Promise.all([walk('light'), walk('dark')]);

const page = await open('light');
await page.goto(`${root}/index.html`);
const background = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
const light = await background();
await page.locator('.theme-toggle:visible').click();
assert.notEqual(await background(), light);
await page.goto(`${root}/search.html?q=ZTPipe`);
await page.getByRole('link', { name: 'ZTPipe', exact: true }).first().click();
assert.equal(await page.locator('h1').first().textContent().then(text => text.replace(/[#¶]/, '')), 'ZTPipe');

await browser.close();
for (const fault of faults) console.error(fault);
console.log(`tests/web/site.mjs: ${pages.length} pages, ${faults.length} faults`);
process.exit(faults.length === 0 ? 0 : 1);
