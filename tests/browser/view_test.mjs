// The pages of `zorrob view` and `zorrob audit --html` in Debian's headless chromium: they load
// with no console error, page error, dialog or network request, report that they are ready,
// list exactly the audit's events, put the flange where the library's forward kinematics puts
// it (`zorrob fk`), show the arm, and show every name from a program file as text.
//
// Usage: node view_test.mjs ZORROB_TOOL SOURCE_DIR WORK_DIR
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { mkdirSync, readFileSync, statSync } from 'node:fs';
import { join } from 'node:path';
import { launch, open, VIEWPORT } from './browser.mjs';

const [tool, source, work] = process.argv.slice(2);
mkdirSync(work, { recursive: true });
const cell = join(source, 'examples/audit/cell.json');
const everyEvent = join(source, 'tests/browser/every_event.json');
const injection = join(source, 'tests/browser/injection.json');

// Runs the tool; audits that find events exit with 3.
function zorrob(args, statuses = [0]) {
  const r = spawnSync(tool, args, { encoding: 'utf8', maxBuffer: 64 << 20 });
  assert.ok(statuses.includes(r.status), `zorrob ${args.join(' ')}: status ${r.status}: ${r.stderr}`);
  return r.stdout;
}

// The flange position the library computes for the joints.
function flangeOf(joints) {
  return JSON.parse(zorrob(['fk', ...joints.map(String), '--json'])).target.position;
}

// The joints of every sample, from the audit's CSV (shortest round-trip numbers).
function sampleJoints(program) {
  const csv = join(work, 'samples.csv');
  zorrob(['audit', program, '--samples', csv], [0, 3]);
  const lines = readFileSync(csv, 'utf8').trim().split('\n').slice(1);
  return lines.map((line) => line.split(',').slice(11, 17).map(Number));
}

const unset = (joints) => joints.every((v) => Math.abs(v) >= 1e9);
let checks = 0;
function check(name, f) {
  return Promise.resolve(f()).then(() => { ++checks; console.log('ok  ' + name); });
}

async function checkEvents(browser, program, page) {
  const audit = JSON.parse(zorrob(['audit', program, '--json'], [0, 3]));
  const { page: p, problems } = await open(browser, page);
  assert.deepEqual(problems, []);
  assert.equal(await p.evaluate(() => window.zorrob.ready), true);
  const rows = await p.$$eval('#events tbody tr', (trs) =>
    trs.map((tr) => Array.from(tr.cells, (td) => td.textContent)));
  assert.deepEqual(rows.map((r) => [r[0], r[1], r[2], r[4]]), audit.events.map((e) =>
    [String(e.move), e.kind, e.on, e.joint ? String(e.joint) : '-']));
  const pageEvents = await p.evaluate(() => window.zorrob.events);
  assert.equal(pageEvents.length, audit.events.length);
  const samples = sampleJoints(program);
  assert.equal(await p.evaluate(() => window.zorrob.sampleCount), samples.length);
  for (let k = 0; k < audit.events.length; ++k) {
    const e = audit.events[k];
    const expected = unset(e.startJoints) ? samples[pageEvents[k].sample] : e.startJoints;
    const shown = await p.evaluate((k) => { window.zorrob.goToEvent(k); return window.zorrob.joints(); }, k);
    assert.deepEqual(shown, expected, `event ${k}: joints`);
    const flange = await p.evaluate(() => window.zorrob.flangePosition());
    const fk = flangeOf(expected);
    for (let i = 0; i < 3; ++i)
      assert.ok(Math.abs(flange[i] - fk[i]) <= 1e-6, `event ${k}: flange ${flange} != ${fk}`);
  }
  for (const i of [0, Math.floor(samples.length / 3), samples.length - 1]) {
    const flange = await p.evaluate((i) => { window.zorrob.goToSample(i); return window.zorrob.flangePosition(); }, i);
    const fk = flangeOf(samples[i]);
    for (let c = 0; c < 3; ++c)
      assert.ok(Math.abs(flange[c] - fk[c]) <= 1e-6, `sample ${i}: flange ${flange} != ${fk}`);
  }
  await p.close();
  return audit;
}

const browser = await launch();
try {
  const cellPage = join(work, 'cell.html');
  zorrob(['view', cell, '-o', cellPage]);
  const everyPage = join(work, 'every_event.html');
  zorrob(['audit', everyEvent, '--html', everyPage], [3]);

  await check('the example page lists the audit events and moves the flange to them', () =>
    checkEvents(browser, cell, cellPage));
  await check('the page of every event kind lists them all and moves the flange to them', async () => {
    const audit = await checkEvents(browser, everyEvent, everyPage);
    assert.equal(new Set(audit.events.map((e) => e.kind)).size, 12);
  });

  await check('a screenshot shows the arm in the scene', async () => {
    const { page, problems } = await open(browser, cellPage);
    assert.deepEqual(problems, []);
    const box = await page.$eval('#scene', (e) => { const r = e.getBoundingClientRect(); return [r.x, r.y, r.width, r.height]; });
    const png = join(work, 'cell.png');
    await page.screenshot({ path: png });
    // Count the arm's orange (#ff8c1a under the lights) inside and outside the scene.
    const counts = await page.evaluate(async ({ data, box }) => {
      const image = new Image();
      image.src = 'data:image/png;base64,' + data;
      await image.decode();
      const canvas = document.createElement('canvas');
      canvas.width = image.width; canvas.height = image.height;
      const g = canvas.getContext('2d');
      g.drawImage(image, 0, 0);
      const px = g.getImageData(0, 0, image.width, image.height).data;
      let inside = 0, outside = 0, sx = 0, sy = 0;
      for (let y = 0; y < image.height; ++y)
        for (let x = 0; x < image.width; ++x) {
          const o = 4 * (y * image.width + x);
          const r = px[o], gr = px[o + 1], b = px[o + 2];
          if (!(r > 200 && gr > 90 && gr < 175 && b < 70)) continue;
          const within = x >= box[0] && x < box[0] + box[2] && y >= box[1] && y < box[1] + box[3];
          if (within) { ++inside; sx += x; sy += y; } else ++outside;
        }
      return { inside, outside, cx: sx / inside, cy: sy / inside };
    }, { data: readFileSync(png).toString('base64'), box });
    // The arm fills a good part of the scene, centred in its middle half; outside the scene
    // only the legend's swatch has its colour.
    assert.ok(counts.inside > 0.01 * box[2] * box[3], JSON.stringify(counts));
    assert.ok(counts.cx > box[0] + box[2] / 4 && counts.cx < box[0] + 3 * box[2] / 4, JSON.stringify(counts));
    assert.ok(counts.cy > box[1] + box[3] / 4 && counts.cy < box[1] + 3 * box[3] / 4, JSON.stringify(counts));
    assert.ok(counts.outside < 100, JSON.stringify(counts));
    assert.ok(box[2] < VIEWPORT.width);
    await page.close();
  });

  await check('names from a program file show as text and run nothing', async () => {
    const file = join(work, 'injection.html');
    zorrob(['view', injection, '-o', file]);
    const { page, problems } = await open(browser, file);
    assert.deepEqual(problems, []);
    assert.equal(await page.$$eval('script', (s) => s.length), 4);
    assert.equal(await page.$$eval('img', (s) => s.length), 0);
    const cells = await page.$$eval('#targets td', (tds) => tds.map((td) => td.textContent));
    for (const name of ['</script><script>alert(1)</script>', '<!--<script> (circle point)',
      ']]></script>', '<img src=x onerror=alert(2)>', '&lt;b&gt;\u2028"\''])
      assert.ok(cells.includes(name), `${name} not shown: ${JSON.stringify(cells)}`);
    const labels = await page.$$eval('.label', (ls) => ls.map((l) => l.textContent));
    assert.ok(labels.some((l) => l.startsWith('</script><script>alert(1)</script> · MoveJ')), labels.join('|'));
    await page.close();
  });

  await check('the arm alone, from an arm file, at home', async () => {
    const file = join(work, 'arm.html');
    zorrob(['view', '--arm', join(source, 'data/arms/default.json'), '-o', file]);
    const { page, problems } = await open(browser, file);
    assert.deepEqual(problems, []);
    assert.equal(await page.evaluate(() => window.zorrob.sampleCount), 0);
    const flange = await page.evaluate(() => window.zorrob.flangePosition());
    const fk = flangeOf([0, 0, 0, 0, 0, 0]);
    for (let c = 0; c < 3; ++c) assert.ok(Math.abs(flange[c] - fk[c]) <= 1e-6);
    await page.close();
  });

  await check('a page of 10^4 samples stays within 2 MB and loads', async () => {
    const file = join(work, 'large.html');
    const report = JSON.parse(zorrob(['view', cell, '--step', '0.065', '-o', file, '--json']));
    assert.ok(report.samples >= 10000, String(report.samples));
    assert.ok(statSync(file).size <= 2 * 1024 * 1024, String(statSync(file).size));
    const { page, problems } = await open(browser, file);
    assert.deepEqual(problems, []);
    assert.equal(await page.evaluate(() => window.zorrob.sampleCount), report.samples);
    await page.close();
  });
} finally {
  await browser.close();
}
console.log(`${checks} passed, 0 failed`);
