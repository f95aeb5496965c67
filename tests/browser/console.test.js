// Drives the console in a browser against a fald of its own (--sim, sessions on, fresh root).
const { test, expect } = require('@playwright/test');
const { spawn } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const FALD = process.env.FALD || path.resolve(__dirname, '../../build/fald');
let fald;
let root;
let base;

test.beforeAll(async () => {
  root = fs.mkdtempSync(path.join(os.tmpdir(), 'fald-console-'));
  fald = spawn(FALD, ['--root', path.join(root, 'root'), '--listen', '127.0.0.1:0', '--sim'], {
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  base = await new Promise((resolve, reject) => {
    let out = '';
    fald.stdout.on('data', (chunk) => {
      out += chunk;
      const url = /on (http:\/\/\S+?)\/? /.exec(out);
      if (url) resolve(url[1]);
    });
    fald.on('exit', (code) => reject(new Error(`fald exited with ${code}: ${out}`)));
  });
});

test.afterAll(async () => {
  if (fald && fald.exitCode === null) {
    const exited = new Promise((resolve) => fald.on('exit', resolve));
    fald.kill('SIGTERM');
    await exited;
  }
  fs.rmSync(root, { recursive: true, force: true });
});

const op = (page, id) => page.locator(`button.op[data-op="${id}"]`);
const openFamily = (page, family) => page.locator(`details[data-family="${family}"] > summary`).click();

async function run(page, id, family, body) {
  if (!(await op(page, id).isVisible())) await openFamily(page, family);
  await op(page, id).click();
  await expect(page.locator('#request-title')).toHaveText(id);
  if (body !== undefined) await page.locator('#body').fill(JSON.stringify(body));
  await page.locator('#send').click();
}

test('log in, read, create, fail a save, reset', async ({ page }) => {
  await page.goto(`${base}/`);
  await expect(page.locator('#login')).toBeVisible();
  await page.getByLabel('User').fill('admin');
  await page.getByLabel('Password').fill('admin');
  await page.getByRole('button', { name: 'Log in' }).click();
  await expect(page.locator('#who')).toHaveText(/Logged in as admin/);

  // Every family opens and lists its operations.
  for (const family of ['gateway', 'wifi', 'network', 'security', 'service', 'mediashare', 'qos']) {
    await openFamily(page, family);
    await expect(page.locator(`details[data-family="${family}"] button.op`).first()).toBeVisible();
  }

  // A read, its path parameter prefilled from the description.
  await run(page, 'GatewayDevicesGetOne', 'gateway');
  await expect(page.locator('#reply-http')).toHaveText('200');
  await expect(page.locator('#reply-data')).toContainText('Office-PC');

  // A port-forwarding rule, created and listed.
  const rule = {
    active: true, name: 'console-web', serviceType: 'HTTP', protocol: 'TCP', externalPortStart: 8081,
    externalPortEnd: 8081, internalPortStart: 80, internalPortEnd: 80, ipAddress: '192.168.1.30',
  };
  await run(page, 'ServicePortforwardingCreate', 'service', rule);
  await expect(page.locator('#reply-http')).toHaveText('201');
  await run(page, 'ServicePortforwardingList', 'service');
  await expect(page.locator('#reply-http')).toHaveText('200');
  await expect(page.locator('#reply-data')).toContainText('console-web');

  // The next save of the service document fails, and the console shows it.
  await page.locator('#fault-family').selectOption('service');
  await page.locator('#fault-lock').fill('0');
  await page.locator('#fault-save').fill('1');
  await page.getByRole('button', { name: 'Inject faults' }).click();
  await expect(page.locator('#sim-result')).toHaveText(/service: the next 0 lock\(s\) and 1 save\(s\) fail/);
  await run(page, 'ServicePortforwardingCreate', 'service', { ...rule, name: 'never-saved' });
  // A rule-list save that fails answers status 4 (refused), HTTP 409.
  await expect(page.locator('#reply-http')).toHaveText('409');
  await expect(page.locator('#reply-status')).toHaveText('4');
  await expect(page.locator('#reply')).toHaveClass(/failed/);

  // The document browser shows the live document.
  await page.locator('#document-family').selectOption('service');
  await expect(page.locator('#document')).toHaveValue(/console-web/);
  await expect(page.locator('#document')).not.toHaveValue(/never-saved/);

  // Back to the factory defaults: the rule is gone.
  await page.getByRole('button', { name: 'Reset to factory defaults' }).click();
  await expect(page.locator('#sim-result')).toHaveText('factory defaults restored');
  await run(page, 'ServicePortforwardingList', 'service');
  await expect(page.locator('#reply-http')).toHaveText('200');
  await expect(page.locator('#reply-data')).toContainText('Office web server');
  await expect(page.locator('#reply-data')).not.toContainText('console-web');

  if (process.env.CONSOLE_SCREENSHOT) await page.screenshot({ path: process.env.CONSOLE_SCREENSHOT, fullPage: false });
});

test('a viewer session sees the simulator refused', async ({ page }) => {
  await page.goto(`${base}/`);
  await page.getByLabel('User').fill('viewer');
  await page.getByLabel('Password').fill('viewer');
  await page.getByRole('button', { name: 'Log in' }).click();
  await expect(page.locator('#who')).toHaveText(/Logged in as viewer/);
  await expect(page.locator('#simulator-note')).toHaveText(/admin sessions/);
  await expect(page.locator('#simulator-controls')).toBeHidden();
});
