// A private machine for each test, with a browser: the service, gateway, web server and tools are the
// shipped ones, and the media are real.
import assert from 'node:assert/strict';
import {execFileSync, spawn} from 'node:child_process';
import {once} from 'node:events';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';
import {after, test} from 'node:test';
import {fileURLToPath} from 'node:url';
import {isDeepStrictEqual} from 'node:util';
import {chromium} from 'playwright-core';

const here = path.dirname(fileURLToPath(import.meta.url));
const source = path.resolve(here, '../..');
const programs = process.env.QX_PROGRAMS ?? path.join(source, 'build/bin');
const account = {username: 'operator', password: 'test-password'};

// Longer than any step takes on a busy machine.
export const patience_ms = 30000;

const browser_options = {
  executablePath: process.env.QX_CHROMIUM ?? '/usr/bin/chromium',
  chromiumSandbox: false,
  args: ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync', '--autoplay-policy=no-user-gesture-required'],
};

async function free_port() {
  const server = net.createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const {port} = server.address();
  server.close();
  await once(server, 'close');
  return port;
}

function password_entry() {
  const hash = execFileSync('openssl', ['passwd', '-apr1', account.password], {encoding: 'utf8'});
  return `${account.username}:${hash}`;
}

// Waits until `condition` returns a true value, and returns it.
export async function until(what, condition) {
  for (const end = Date.now() + patience_ms; Date.now() < end;) {
    const result = await condition();
    if (result) return result;
    await new Promise((done) => setTimeout(done, 50));
  }
  throw new Error(`not seen in time: ${what}`);
}

// Waits until `value` returns the expected value, since the effect of a click can be delayed.
export async function until_equal(value, expected) {
  let seen;
  for (const end = Date.now() + patience_ms; Date.now() < end;) {
    seen = await value();
    if (isDeepStrictEqual(seen, expected)) return;
    await new Promise((done) => setTimeout(done, 50));
  }
  assert.deepStrictEqual(seen, expected);
}

export class machine {
  #answers = [];
  #waiting = [];

  static async make() {
    const made = new machine();
    made.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'qx-web.'));
    fs.chmodSync(made.folder, 0o755);
    made.port = await free_port();
    made.url = `http://127.0.0.1:${made.port}/reelstack4/queue/`;
    made.#fill();
    await made.#start_host();
    return made;
  }

  #fill() {
    for (const folder of ['tools', 'run', 'mnt/media', 'mnt/main/tv/vod', 'host/lib/qx_vod_service',
      'host/share/qx_vod_service', 'host/etc/lighttpd/conf-enabled', 'host/etc/qx_vod_service']) {
      fs.mkdirSync(path.join(this.folder, folder), {recursive: true});
    }
    for (const name of ['qx_vod_service', 'qx_vod_ctl', 'qxmi_vod_transcode', 'qxmi_startitem',
      'qxmi_grab']) {
      fs.copyFileSync(path.join(programs, name), path.join(this.folder, 'tools', name));
    }
    fs.copyFileSync(path.join(programs, 'vod.cgi'),
      path.join(this.folder, 'host/lib/qx_vod_service/vod.cgi'));
    fs.cpSync(path.join(source, 'web'), path.join(this.folder, 'host/share/qx_vod_service/web'),
      {recursive: true});
    for (const name of ['50-qx-vod.conf', '60-qx-vod-page.conf']) {
      fs.copyFileSync(path.join(source, 'packaging/lighttpd', name),
        path.join(this.folder, 'host/etc/lighttpd/conf-enabled', name));
    }
    fs.writeFileSync(path.join(this.folder, 'host/etc/qx_vod_service/web.users'), password_entry());
    fs.writeFileSync(this.path('/mnt/main/tv/vod.conf'), 'fullspeed = 1\n');
  }

  async #start_host() {
    this.host = spawn(path.join(source, 'scripts/private-root'),
      [this.folder, '/bin/sh', path.join(here, 'host'), this.folder, String(this.port)],
      {stdio: ['pipe', 'pipe', 'inherit']});
    readline.createInterface({input: this.host.stdout}).on('line', (line) => {
      const waiting = this.#waiting.shift();
      if (waiting) waiting(line);
      else this.#answers.push(line);
    });
    await this.#answer();
  }

  async #answer() {
    const line = this.#answers.shift() ?? await new Promise((done) => this.#waiting.push(done));
    if (line !== 'ok') throw new Error(`the machine answered "${line}"`);
  }

  // "start service", "stop service", "start web", "stop web"
  async tell(words) {
    this.host.stdin.write(`${words}\n`);
    await this.#answer();
  }

  // The path outside for a path inside the machine.
  path(inside) {
    return path.join(this.folder, inside);
  }

  // Makes a clip of this many seconds, like that of a recorder, and returns its path inside.
  make_clip(name, seconds = 2, size = '320x180', format = 'mpegts') {
    const inside = `/mnt/media/${name}`;
    execFileSync('ffmpeg', ['-nostdin', '-loglevel', 'error', '-f', 'lavfi', '-i',
      `testsrc2=size=${size}:rate=25`, '-f', 'lavfi', '-i', 'sine=frequency=1000:sample_rate=48000',
      '-t', String(seconds), '-c:v', 'mpeg2video', '-b:v', '2M', '-c:a', 'mp2', '-movflags',
      '+faststart', '-f', format, `file:${this.path(inside)}`]);
    return inside;
  }

  // Writes a queue for the next start of the service: objects with some of the keys of an item.
  write_queue(items) {
    const list = items.map((item, i) => {
      const job = i + 1;
      fs.mkdirSync(this.path(`/mnt/main/tv/fileops/jobs/${job}`), {recursive: true});
      const file = item['input file'] ?? '/mnt/media/none.ts';
      if (!fs.existsSync(this.path(file))) fs.writeFileSync(this.path(file), '');
      return {'entry id': `00000000-0000-4000-8000-${String(job).padStart(12, '0')}`,
        'fileops job id': job, 'input file': file, 'output file': '', 'transcode profile': '',
        'quoted profile': [], 'state': '', 'transcode progress': [0, 10000], ...item};
    });
    fs.writeFileSync(this.path('/mnt/main/tv/vod.queue.js'), JSON.stringify({list, time: ''}));
  }

  // The answer of the service to a request from another server, as text.
  async post(query, body, headers = {}) {
    return this.fetch(`../vod.cgi?${query}`, {method: 'POST', body, headers});
  }

  // Each request uses a new connection: making a clip blocks this process, and the web server closes a
  // connection that is idle for so long.
  async fetch(address, options = {}) {
    const secret = Buffer.from(`${account.username}:${account.password}`).toString('base64');
    const headers = {Authorization: `Basic ${secret}`, Connection: 'close', ...options.headers};
    return fetch(new URL(address, this.url), {...options, headers});
  }

  async queue(query = '') {
    const response = await this.fetch(`../vod.cgi?c=queue${query}`);
    return response.json();
  }

  async add(file, more = {}) {
    const response = await this.post('c=command&vc=add', JSON.stringify({file, ...more}),
      {'X-Vod-Page': '1'});
    const answer = await response.json();
    if (!answer.id) throw new Error(`not added: ${answer.error} ${answer.text}`);
    return answer.id;
  }

  // Adds a file whose name consists of arbitrary bytes; `file` has a character below U+0100 for each.
  async add_bytes(file) {
    const response = await this.post('c=command&vc=add',
      Buffer.from(JSON.stringify({file}), 'latin1'), {'X-Vod-Page': '1'});
    return (await response.json()).id;
  }

  async wait_for(id, group) {
    return until(`${id} ${group}`, async () => {
      const queue = await this.queue(`&search=${id}`);
      return queue.items?.find((item) => item.id === id && item.group === group);
    });
  }

  // The last lines, without those about clients, of which the page makes one each second.
  log(name) {
    const file = this.path(`/run/${name}.log`);
    if (!fs.existsSync(file)) return '';
    return fs.readFileSync(file, 'utf8').split('\n')
      .filter((line) => !/^\* (new connection|disconnected client)/.test(line)).slice(-15).join('\n');
  }

  async end() {
    const ended = this.host.exitCode === null ? once(this.host, 'exit') : null;
    this.host.stdin.end();
    await ended;
    fs.rmSync(this.folder, {recursive: true, force: true});
  }
}

let browser = null;
after(async () => browser?.close());

export async function open_browser() {
  browser ??= await chromium.launch(browser_options);
  return browser;
}

// One test: a machine whose service runs (after `prepare`, if given), and a page in a browser that knows
// the account. Any complaint of the page in its console fails the test, except for failed requests.
export function page_test(name, body, {prepare, viewport = {width: 1280, height: 800}, ...more} = {}) {
  test(name, {timeout: 120000}, async () => {
    const made = await machine.make();
    const context = await (await open_browser()).newContext(
      {httpCredentials: account, viewport, locale: 'en-GB', ...more});
    const complaints = [];
    try {
      await prepare?.(made);
      await made.tell('start service');
      const page = await context.newPage();
      page.setDefaultTimeout(patience_ms);
      page.on('pageerror', (error) => complaints.push(String(error)));
      page.on('console', (message) => {
        const is_own = page.url().startsWith(made.url) && message.type() === 'error';
        if (is_own && !message.text().startsWith('Failed to load resource')) {
          complaints.push(message.text());
        }
      });
      await body({machine: made, page, context});
      if (complaints.length) throw new Error(`the page complains: ${complaints.join('\n')}`);
    } catch (error) {
      console.error(`${name}\n--- service\n${made.log('service')}\n--- web\n${made.log('lighttpd')}`);
      throw error;
    } finally {
      await context.close();
      await made.end();
    }
  });
}

// The row of a job on the page.
export function row(page, name) {
  return page.locator('.job').filter({has: page.locator('.name', {hasText: name})});
}
