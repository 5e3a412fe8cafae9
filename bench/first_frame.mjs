// Time to first frame of the view page in headless chromium: from navigation to the page's
// data-ready mark, for the example program (1 mm steps) and for the same program sampled to
// more than 10^4 samples. A script, not a test: the figures go to bench/README.md.
//
// Usage: node bench/first_frame.mjs ZORROB_TOOL [RUNS]   (from the repository root)
import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, statSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { launch, open } from '../tests/browser/browser.mjs';

const [tool, runsText] = process.argv.slice(2);
const runs = Number(runsText || 5);
const work = mkdtempSync(join(tmpdir(), 'zorrob-first-frame-'));
const pages = [
  ['example (1 mm steps)', []],
  ['example at 0.065 mm steps', ['--step', '0.065']],
];
const browser = await launch();
try {
  for (const [name, extra] of pages) {
    const file = join(work, 'page.html');
    const report = JSON.parse(execFileSync(tool, ['view', 'examples/audit/cell.json', ...extra,
      '-o', file, '--json'], { encoding: 'utf8' }));
    const times = [];
    for (let i = 0; i < runs; ++i) {
      const { page, firstFrameMs } = await open(browser, file);
      times.push(firstFrameMs);
      await page.close();
    }
    times.sort((a, b) => a - b);
    console.log(`${name}: ${report.samples} samples, ${statSync(file).size} bytes, ` +
      `first frame median ${times[Math.floor(runs / 2)].toFixed(0)} ms ` +
      `(min ${times[0].toFixed(0)}, max ${times[runs - 1].toFixed(0)}) over ${runs} loads`);
  }
} finally {
  await browser.close();
  rmSync(work, { recursive: true, force: true });
}
