// Debian's chromium, headless, driven by playwright-core: the flags that keep it off the network
// and a fresh profile each launch.
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

export const VIEWPORT = { width: 1100, height: 700 };

export async function launch() {
  const profile = mkdtempSync(join(tmpdir(), 'zorrob-chromium-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: process.env.ZORROB_CHROMIUM || '/usr/bin/chromium',
    headless: true,
    viewport: VIEWPORT,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--enable-unsafe-swiftshader'],
  });
  return {
    context,
    async close() {
      await context.close();
      rmSync(profile, { recursive: true, force: true });
    },
  };
}

// Opens the page file and waits until it has drawn its first frame. Collects console errors,
// page errors, dialogs and every request other than the page file itself.
export async function open(browser, file, timeout = 60000) {
  const page = await browser.context.newPage();
  const url = pathToFileURL(file).href;
  const problems = [];
  page.on('console', (m) => { if (m.type() === 'error') problems.push('console error: ' + m.text()); });
  page.on('pageerror', (e) => problems.push('page error: ' + e.message));
  page.on('dialog', (d) => { problems.push('dialog: ' + d.message()); d.dismiss(); });
  page.on('request', (r) => {
    if (r.url() !== url && !r.url().startsWith('data:') && !r.url().startsWith('blob:'))
      problems.push('request: ' + r.url());
  });
  const started = performance.now();
  await page.goto(url);
  await page.waitForSelector('body[data-ready="true"]', { timeout });
  const firstFrameMs = performance.now() - started;
  return { page, problems, firstFrameMs };
}
