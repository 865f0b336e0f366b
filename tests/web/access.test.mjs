// Access control: accounts, foreign pages, and the files that the web server serves.
import assert from 'node:assert/strict';
import {once} from 'node:events';
import fs from 'node:fs';
import http from 'node:http';
import net from 'node:net';
import path from 'node:path';
import {page_test, until} from './machine.mjs';

const vods = '/mnt/main/tv/vod';

page_test('nothing is served without an account', async ({machine}) => {
  for (const address of ['', 'app.js', 'vod/a.mp4', '../vod.cgi?c=queue']) {
    const response = await fetch(new URL(address, machine.url));
    assert.equal(response.status, 401, address);
  }
});

page_test('the page forbids scripts and styles from elsewhere', async ({machine, page}) => {
  const response = await page.goto(machine.url);
  const policy = response.headers()['content-security-policy'];
  assert.match(policy, /default-src 'none'/);
  assert.doesNotMatch(policy, /unsafe/);
  const inline = await page.evaluate(() => [...document.querySelectorAll('*')]
    .filter((element) => element.hasAttribute('style')
      || element.getAttributeNames().some((name) => name.startsWith('on'))
      || (['SCRIPT', 'STYLE'].includes(element.tagName) && element.textContent)).length);
  assert.equal(inline, 0);
});

page_test('a VOD and its thumbnail are served, complete and in ranges', async ({machine}) => {
  const {vod, thumbnail} = await machine.wait_for(await machine.add(machine.make_clip('a b.ts')), 'done');
  const whole = await machine.fetch(vod);
  assert.equal(whole.headers.get('content-type'), 'video/mp4');
  const bytes = Buffer.from(await whole.arrayBuffer());
  const part = await machine.fetch(vod, {headers: {Range: 'bytes=100-199'}});
  assert.equal(part.status, 206);
  assert.deepEqual(Buffer.from(await part.arrayBuffer()), bytes.subarray(100, 200));
  const picture = await machine.fetch(thumbnail);
  assert.equal(picture.status, 200);
  assert.equal(picture.headers.get('content-type'), 'image/jpeg');
});

page_test('no other part of the outputs is served', async ({machine}) => {
  const {vod} = await machine.wait_for(await machine.add(machine.make_clip('clip.ts')), 'done');
  const name = decodeURIComponent(vod.slice(4));
  const folder = machine.path(vods);
  fs.symlinkSync('/etc/passwd', path.join(folder, 'link.mp4'));
  for (const other of ['.hidden.mp4', 'notes.txt', 'a.mp4.txt', 'a.cgi', 'deep/a.mp4']) {
    fs.mkdirSync(path.dirname(path.join(folder, other)), {recursive: true});
    fs.writeFileSync(path.join(folder, other), 'secret', {mode: 0o755});
  }
  const metadata = `.${name}.metadata`;
  assert.ok(fs.existsSync(path.join(folder, metadata, 'metadata')));
  for (const other of ['', '.', metadata, `${metadata}/`, `${metadata}/metadata`,
    `${metadata}/.vod.metadata`, `${metadata}/.transcode`, '.hidden.mp4', 'notes.txt', 'a.mp4.txt',
    'a.cgi', 'deep/a.mp4', 'deep%2Fa.mp4', 'link.mp4', '%2e%2e/vod.conf', '..%2Fvod.conf',
    `x/..%2F.hidden.mp4`]) {
    const response = await machine.fetch(`vod/${other}`);
    assert.ok(response.status === 403 || response.status === 404, `${other}: ${response.status}`);
  }
  const refused = await machine.fetch(vod, {method: 'DELETE'});
  assert.ok(refused.status >= 400);
  assert.ok(fs.existsSync(path.join(folder, name)));
});

page_test('the gateway discloses no command line', async ({machine}) => {
  await machine.wait_for(await machine.add(machine.make_clip('clip.ts')), 'done');
  assert.doesNotMatch(JSON.stringify(await machine.queue()), /process|--file|argv/);
});

// A foreign page, open in a browser that knows the account: on the same site, so that the browser sends
// the account, but from another origin.
async function with_foreign_page(body) {
  const server = http.createServer((request, response) => {
    response.setHeader('Content-Type', 'text/html');
    response.end('<!doctype html><title>elsewhere</title>');
  }).listen(0, '127.0.0.1');
  await once(server, 'listening');
  try {
    await body(`http://127.0.0.1:${server.address().port}/`);
  } finally {
    server.closeAllConnections();
    server.close();
  }
}

page_test('another page in the same browser can neither give commands nor read', async ({machine, page}) => {
  const id = (await machine.queue()).items[0].id;
  await page.goto(machine.url);
  await page.getByText('held.ts').waitFor();
  await with_foreign_page(async (address) => {
    const statuses = [];
    page.on('response', (response) => statuses.push(response.status()));
    await page.goto(address);
    await page.evaluate(async ([gateway, job]) => {
      const send = (query, content, more) => fetch(`${gateway}?${query}`,
        {method: 'POST', mode: 'no-cors', credentials: 'include', body: content, ...more})
        .catch(() => {});
      await send('c=vodsrv&vc=remove', `entry id:${job}\n\n`);
      await send('c=command&vc=remove', JSON.stringify({id: job}));
      await send('c=command&vc=remove', JSON.stringify({id: job}),
        {mode: 'cors', headers: {'X-Vod-Page': '1'}});
    }, [new URL('../vod.cgi', machine.url).href, id]);
    await until('the refusals', () => statuses.includes(403));
    const read = await page.evaluate((gateway) => fetch(`${gateway}?c=queue`,
      {credentials: 'include'}).then(() => 'read', () => 'refused'),
    new URL('../vod.cgi', machine.url).href);
    assert.equal(read, 'refused');
  });
  assert.equal((await machine.queue()).total, 1);
}, {prepare: (machine) => machine.write_queue([{'transcode state': 'cancelled', 'state': 'x',
  'input file': '/mnt/media/held.ts'}])});

// Sends the header of a request and the first byte of its body, and returns the status line of the answer.
async function status_of_slow_body(machine) {
  const {host, port} = new URL(machine.url);
  const secret = Buffer.from('operator:test-password').toString('base64');
  const socket = net.connect(Number(port), '127.0.0.1');
  socket.write(`POST /reelstack4/vod.cgi?c=command&vc=pause HTTP/1.1\r\nHost: ${host}\r\n`
    + `Authorization: Basic ${secret}\r\nX-Vod-Page: 1\r\nContent-Length: 50\r\n\r\n{`);
  // A byte now and then, so that the web server does not close the connection.
  const drip = setInterval(() => socket.write(' '), 1000);
  try {
    const [answer] = await once(socket, 'data');
    return answer.toString('latin1').split('\r\n')[0];
  } finally {
    clearInterval(drip);
    socket.destroy();
  }
}

page_test('a body that arrives too slowly is refused after ten seconds', async ({machine}) => {
  const start = Date.now();
  assert.equal(await status_of_slow_body(machine), 'HTTP/1.1 408 Request Timeout');
  const seconds = (Date.now() - start) / 1000;
  assert.ok(seconds > 9 && seconds < 20, `${seconds} s`);
});

page_test('the answers to another server are unchanged', async ({machine}) => {
  const response = await machine.post('c=vodsrv&vc=list', 'entry id:none\n\n');
  assert.equal(response.status, 404);
  assert.equal(response.headers.get('content-type'), 'text/plain');
  assert.equal(await response.text(), 'X-comm-error:NOT FOUND\n\n');
});
