// Usage: node tests/browser/screenshot.mjs PAGE.html OUT.png
// Opens a page that zorrob wrote in headless chromium and saves a screenshot once it is drawn.
import { launch, open } from './browser.mjs';

const [file, out] = process.argv.slice(2);
if (!file || !out) {
  console.error('usage: node screenshot.mjs PAGE.html OUT.png');
  process.exit(2);
}
const browser = await launch();
try {
  const { page, problems } = await open(browser, file);
  await page.screenshot({ path: out });
  if (problems.length) {
    console.error(problems.join('\n'));
    process.exitCode = 1;
  }
} finally {
  await browser.close();
}
