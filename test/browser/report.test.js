// Opens HostCapture reports in the system's chromium and checks what only a browser can tell:
// the fold-out script, the status icons as drawn, that the page asks for nothing from outside,
// the text encoding, and that daemon texts never become markup.
//   node report.test.js <demo page> <empty page> <markup page> <screenshot file>
// Exits non-zero on the first failed check, and when the browser cannot be started.
'use strict';
const assert = require('assert/strict');
const path = require('path');
const { chromium } = require('playwright-core');
const { PAYLOAD } = require('./markup-profile');

const CHROMIUM = process.env.HOSTCAPTURE_CHROMIUM || '/usr/bin/chromium';
const STATUSES = ['normal', 'warning', 'major', 'error', 'unknown', 'not-present'];
// The open/close transition of a section lasts 0.2 s.
const SETTLE_MS = 350;

function fileUrl(file) {
  return 'file://' + path.resolve(file);
}

// Opens a page and records every request it makes besides loading itself, and every dialog.
async function openPage(browser, file) {
  const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
  const seen = { requests: [], dialogs: [], errors: [] };
  const self = fileUrl(file);
  page.on('request', (request) => {
    const url = request.url();
    // The icons are data URLs inside the page; they are decoded, not fetched.
    if (url !== self && !url.startsWith('data:')) seen.requests.push(url);
  });
  page.on('dialog', async (dialog) => {
    seen.dialogs.push(dialog.message());
    await dialog.dismiss();
  });
  page.on('pageerror', (error) => seen.errors.push(String(error)));
  await page.goto(self, { waitUntil: 'load' });
  return { page, seen };
}

// Heights of every section block and whether its button is marked open, in document order.
function sectionState(page) {
  return page.evaluate(() =>
    Array.from(document.querySelectorAll('button.collapsible')).map((button) => {
      const content = button.nextElementSibling;
      return {
        title: button.textContent,
        active: button.classList.contains('active'),
        isContent: content !== null && content.classList.contains('content'),
        height: content ? content.getBoundingClientRect().height : -1,
        scrollHeight: content ? content.scrollHeight : -1,
        depth: (() => {
          let depth = 0;
          for (let node = button.parentElement; node; node = node.parentElement)
            if (node.classList.contains('content')) depth++;
          return depth;
        })(),
      };
    }),
  );
}

// Clicks every section button in turn. The whole report's worth goes through the buttons' own
// click() (the same click event a reader's mouse sends, without moving a pointer there for each);
// the nested section below is opened and closed with real mouse clicks.
async function clickSections(page, order) {
  await page.evaluate((innerFirst) => {
    const buttons = Array.from(document.querySelectorAll('button.collapsible'));
    if (innerFirst) buttons.reverse();
    for (const button of buttons) button.click();
  }, order === 'inner-first');
  await page.waitForTimeout(SETTLE_MS);
}

async function checkFolding(page, screenshot) {
  const closed = await sectionState(page);
  assert.ok(closed.length >= 5, `expected the health sections, found ${closed.length} section buttons`);
  assert.ok(closed.some((s) => s.depth > 0), 'the demo report has no nested section');
  for (const s of closed) {
    assert.ok(s.isContent, `section "${s.title}" has no content block after its button`);
    assert.equal(s.height, 0, `section "${s.title}" is not closed when the page opens`);
  }

  // Outer sections first, as a reader opens them: every block must end up fully visible, the
  // nested ones too (an open parent grows by what its child needs).
  await clickSections(page, 'outer-first');
  const open = await sectionState(page);
  for (const s of open) {
    assert.ok(s.active, `section "${s.title}" is not marked open after a click`);
    assert.ok(s.height > 0, `section "${s.title}" did not open`);
    assert.ok(s.height + 1 >= s.scrollHeight, `section "${s.title}" is cut: ${s.height} of ${s.scrollHeight} px`);
  }
  await page.screenshot({ path: screenshot, fullPage: true, clip: { x: 0, y: 0, width: 1280, height: 1800 } });

  // A nested section closes on its own while its parent stays open.
  const nested = open.findIndex((s) => s.depth > 0);
  const buttons = await page.$$('button.collapsible');
  await buttons[nested].click();
  await page.waitForTimeout(SETTLE_MS);
  let state = await sectionState(page);
  assert.equal(state[nested].height, 0, `nested section "${state[nested].title}" did not close`);
  assert.ok(!state[nested].active, `nested section "${state[nested].title}" still marked open`);
  const parent = state.findIndex((s, i) => i < nested && s.depth === state[nested].depth - 1 && s.height > 0);
  assert.ok(parent >= 0, 'the parent of a closed nested section closed too');
  await buttons[nested].click();
  await page.waitForTimeout(SETTLE_MS);
  assert.ok((await sectionState(page))[nested].height > 0, 'a nested section did not open again');

  // Innermost first: everything closes again.
  await clickSections(page, 'inner-first');
  state = await sectionState(page);
  for (const s of state) {
    assert.ok(!s.active, `section "${s.title}" still marked open after a second click`);
    assert.equal(s.height, 0, `section "${s.title}" did not close`);
  }
  return open.length;
}

async function checkIcons(page) {
  const icons = await page.evaluate(async (statuses) => {
    const result = {};
    for (const status of statuses) {
      const cls = 'status-' + status;
      const rows = Array.from(document.querySelectorAll('td.' + cls));
      const headers = Array.from(document.querySelectorAll('button.collapsible.' + cls));
      const urls = new Set([...rows, ...headers].map((el) => getComputedStyle(el).backgroundImage));
      // The picture the style sheet gives this class, decoded by the browser.
      const probe = document.createElement('div');
      probe.className = cls;
      document.body.appendChild(probe);
      const image = getComputedStyle(probe).backgroundImage;
      probe.remove();
      const match = /^url\("?(data:image\/(png|gif);base64,[^")]+)"?\)$/.exec(image);
      let size = null;
      if (match) {
        const img = new Image();
        img.src = match[1];
        try {
          await img.decode();
          size = [img.naturalWidth, img.naturalHeight];
        } catch (e) {
          size = String(e);
        }
      }
      result[status] = { image, type: match && match[2], size, rows: rows.length, headers: headers.length, urls: [...urls] };
    }
    return result;
  }, STATUSES);

  const distinct = new Set();
  for (const status of STATUSES) {
    const icon = icons[status];
    assert.ok(icon.type, `status-${status} has no data-URL picture: ${icon.image.slice(0, 80)}`);
    assert.equal(icon.type, status === 'major' ? 'gif' : 'png', `status-${status} picture type`);
    assert.deepEqual(icon.size, [16, 16], `status-${status} picture does not decode as 16x16`);
    distinct.add(icon.image);
    if (icon.rows + icon.headers > 0)
      assert.deepEqual(icon.urls, [icon.image], `an element of status ${status} shows another picture`);
  }
  assert.equal(distinct.size, STATUSES.length, 'two statuses share one picture');
  return icons;
}

// Every status must have been seen on a row or header of one of the pages checked.
function checkIconsSeen(pages) {
  for (const status of STATUSES) {
    const seen = pages.reduce((sum, icons) => sum + icons[status].rows + icons[status].headers, 0);
    assert.ok(seen > 0, `no row or header of status ${status} in the reports checked`);
  }
}

async function checkDemo(browser, file, screenshot) {
  const { page, seen } = await openPage(browser, file);
  assert.equal(await page.evaluate(() => document.characterSet), 'UTF-8', 'page not read as UTF-8');
  const text = await page.evaluate(() => document.body.innerText);
  assert.ok(text.includes('Temperature (\u00b0C)'), 'the heading "Temperature (\u00b0C)" is not shown as such');
  assert.ok(!text.includes('\u00c2\u00b0'), 'the degree sign shows as two characters');
  const sections = await checkFolding(page, screenshot);
  const icons = await checkIcons(page);
  assert.deepEqual(seen.requests, [], 'the page made network requests');
  assert.deepEqual(seen.errors, [], 'the page script failed');
  await page.close();
  return { sections, icons };
}

// The report of a daemon that knows nothing: every section header is of status unknown.
async function checkEmpty(browser, file) {
  const { page, seen } = await openPage(browser, file);
  const icons = await checkIcons(page);
  assert.ok(icons.unknown.headers > 0, 'no section header of status unknown without daemon data');
  assert.deepEqual(seen.requests, [], 'the page made network requests');
  await page.close();
  return icons;
}

async function checkMarkup(browser, file) {
  const { page, seen } = await openPage(browser, file);
  // Open everything, so that any element hidden in a closed section gets rendered too.
  await clickSections(page, 'outer-first');
  const found = await page.evaluate((payload) => {
    const text = document.body.innerText;
    let shown = 0;
    for (let at = text.indexOf(payload); at >= 0; at = text.indexOf(payload, at + 1)) shown++;
    return {
      shown,
      scripts: document.scripts.length,
      images: document.images.length,
      svgs: document.querySelectorAll('svg').length,
      bold: document.querySelectorAll('b').length,
      closedTables: document.querySelectorAll('table table').length,
    };
  }, PAYLOAD);
  await page.waitForTimeout(200); // an image error handler would fire by now
  const injected = await page.evaluate(() => window.__injected);
  assert.equal(injected, undefined, `injected script ran (${injected})`);
  assert.deepEqual(seen.dialogs, [], 'injected script opened dialogs');
  assert.equal(found.scripts, 1, 'a daemon text became a script element');
  assert.equal(found.images, 0, 'a daemon text became an image');
  assert.equal(found.svgs + found.bold, 0, 'a daemon text became markup');
  assert.equal(found.closedTables, 0, 'a daemon text broke the table structure');
  assert.ok(found.shown >= 10, `the markup is shown as text only ${found.shown} times`);
  assert.deepEqual(seen.requests, [], 'the page made network requests');
  await page.close();
  return found;
}

async function main() {
  const [demo, empty, markup, screenshot] = process.argv.slice(2);
  if (!screenshot) throw new Error('usage: node report.test.js <demo page> <empty page> <markup page> <screenshot file>');
  // No fallback: a browser that does not start is a failed test.
  const browser = await chromium.launch({ executablePath: CHROMIUM, timeout: 30000 });
  try {
    const started = Date.now();
    const result = await checkDemo(browser, demo, screenshot);
    console.log(`demo report: ${result.sections} sections fold and unfold, six icons 16x16, no requests`);
    const emptyIcons = await checkEmpty(browser, empty);
    checkIconsSeen([result.icons, emptyIcons]);
    const count = (s) => `${s} ${result.icons[s].rows + emptyIcons[s].rows}/${result.icons[s].headers + emptyIcons[s].headers}`;
    console.log(`  icons on rows/headers (demo and empty reports): ${STATUSES.map(count).join(', ')}`);
    const found = await checkMarkup(browser, markup);
    console.log(`markup report: markup shown as text ${found.shown} times, no script ran, no dialog`);
    console.log(`browser checks took ${((Date.now() - started) / 1000).toFixed(1)} s (chromium ${browser.version()})`);
  } finally {
    await browser.close();
  }
}

main().catch((error) => {
  console.error('browser test FAILED:', error.message || error);
  process.exit(1);
});
