// The view of the queue on the page, and its cost.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import {page_test, row, until, until_equal} from './machine.mjs';

const visible_rows = (page) => page.locator('.job').count();
const text_of = (page, id) => page.locator(id).innerText();

function ended(count, more = () => ({})) {
  return Array.from({length: count}, (_, i) => ({
    'transcode state': 'cancelled', 'state': 'Transcoding failed',
    'input file': `/mnt/media/tape ${i}.ts`, ...more(i)}));
}

// Three groups, 512 jobs in all.
function full_queue(machine) {
  machine.write_queue(ended(512, (i) => {
    if (i < 300) return {};
    return i < 400 ? {state: 'Cancelled by user', 'input file': `/mnt/media/reel ${i}.ts`}
      : {'transcode state': 'ready', 'ready state': 'ready to transcode', paused: true,
        'quoted profile': ['720', '480'], 'transcode profile': '720'};
  }));
}

page_test('an empty queue says so and offers to add a file', async ({machine, page}) => {
  await page.goto(machine.url);
  await page.getByText('The queue is empty').waitFor();
  await page.locator('#empty').getByRole('button', {name: 'Add a file'}).click();
  assert.ok(await page.locator('#add-dialog').isVisible());
});

page_test('a running job shows progress, time left and an expected time marked as an estimate',
  async ({machine, page}) => {
    await machine.add(machine.make_clip('long.ts', 120, '640x360'), {profile: '360'});
    await page.goto(machine.url);
    const job = row(page, 'long.ts');
    const value = () => job.locator('progress').evaluate((bar) => bar.value);
    await until('progress', async () => await job.locator('progress').isVisible() && await value() > 0);
    const before = await value();
    await until('more progress', async () => await value() > before);
    await job.getByText(/left$/).waitFor();
    await job.getByText(/^ready about .*\d\d:\d\d \(estimate\)$/).waitFor();
  });

page_test('a finished job shows its thumbnail and is announced', async ({machine, page}) => {
  const file = machine.make_clip('short.ts', 30, '640x360');
  await page.goto(machine.url);
  await machine.add(file);
  const job = row(page, 'short.ts');
  await page.locator('#said').getByText(/short\.ts: Done/).waitFor({state: 'attached'});
  await job.locator('img').waitFor();
  await until('a picture', () => job.locator('img').evaluate((image) => image.naturalWidth > 0));
  await until_equal(() => text_of(page, '[data-group="done"].filter .filter-count'), '1');
});

page_test('a failed job says why its tool failed', async ({machine, page}) => {
  const file = machine.make_clip('cut.mp4', 6, '320x180', 'mp4');
  fs.truncateSync(machine.path(file), Math.floor(fs.statSync(machine.path(file)).size / 2));
  await page.goto(machine.url);
  const id = await machine.add(file);
  const {text, reason} = await machine.wait_for(id, 'failed');
  assert.equal(text, 'Transcoding failed');
  assert.match(reason, /^source-damaged: /);
  await row(page, 'cut.mp4').getByText(reason).waitFor();
});

page_test('a resumed transcode says where it was resumed', async ({machine, page}) => {
  const id = await machine.add(machine.make_clip('long.ts', 120, '640x360'), {profile: '360'});
  await machine.wait_for(id, 'running');
  const vods = machine.path('/mnt/main/tv/vod');
  const log = await until('the log', () => fs.readdirSync(vods)
    .map((name) => `${vods}/${name}/vod.log`).find((name) => fs.existsSync(name)));
  await page.goto(machine.url);
  await row(page, 'long.ts').locator('progress').waitFor();
  assert.equal(await row(page, 'long.ts').getByText(/resumed/).count(), 0);
  fs.appendFileSync(log, `${new Date().toISOString()} checkpoint: resumed at 2 %, after 1 finished segments\n`);
  await row(page, 'long.ts').getByText('resumed at 2 %', {exact: true}).waitFor();
});

page_test('a transcode in a cluster says where it runs', async ({machine, page}) => {
  const id = await machine.add(machine.make_clip('long.ts', 120, '640x360'), {profile: '360'});
  await machine.wait_for(id, 'running');
  const vods = machine.path('/mnt/main/tv/vod');
  const log = await until('the log', () => fs.readdirSync(vods)
    .map((name) => `${vods}/${name}/vod.log`).find((name) => fs.existsSync(name)));
  const note = (text) => fs.appendFileSync(log, `${new Date().toISOString()} cluster: ${text}\n`);
  await page.goto(machine.url);
  const text = '4 of 12 segments, 3 under way on n1, n2 and 1 more';
  note(text);
  const shown = row(page, 'long.ts').getByText(text, {exact: true});
  await shown.waitFor();
  note('ended, nothing happened for 120 s');
  await shown.waitFor({state: 'detached'});
});

page_test('512 jobs are counted by group and shown 32 at a time', async ({machine, page}) => {
  await page.goto(machine.url);
  await until_equal(() => visible_rows(page), 32);
  assert.equal(await text_of(page, '#range'), '1\u201332 of 512');
  for (const [group, count] of [['', '512'], ['paused', '112'], ['failed', '300'],
    ['cancelled', '100'], ['done', '0']]) {
    await until_equal(() => text_of(page, `.filter[data-group="${group}"] .filter-count`), count);
  }
  for (let i = 0; i < 15; ++i) {
    await page.getByRole('button', {name: 'Next'}).click();
    await page.getByText(`${(i + 1) * 32 + 1}\u2013${(i + 2) * 32} of 512`).waitFor();
  }
  await until('the end', () => page.getByRole('button', {name: 'Next'}).isDisabled());
}, {prepare: full_queue});

page_test('filter and search narrow the list, and a reload keeps both', async ({machine, page}) => {
  await page.goto(machine.url);
  await page.locator('.filter', {hasText: 'Cancelled'}).click();
  await page.getByText('1\u201332 of 100').waitFor();
  await page.getByRole('searchbox').fill('REEL 37');
  await until('ten jobs', async () => await visible_rows(page) === 10);
  await page.reload();
  await until('ten jobs', async () => await visible_rows(page) === 10);
  assert.equal(await page.getByRole('searchbox').inputValue(), 'REEL 37');
  await page.getByRole('searchbox').fill('no such thing');
  await page.getByText('No matching jobs').waitFor();
  await page.getByRole('button', {name: 'Show all jobs'}).click();
  await page.getByText('1\u201332 of 512').waitFor();
}, {prepare: full_queue});

page_test('512 jobs cost one request per second, and no data while nothing changes',
  async ({machine, page}) => {
    const answers = [];
    page.on('response', (response) => {
      if (response.url().includes('c=queue')) answers.push(response.status());
    });
    await page.goto(machine.url);
    await until('seven answers', () => answers.length >= 7);
    const starts = await page.evaluate(() => performance.getEntriesByType('resource')
      .filter((entry) => entry.name.includes('c=queue')).map((entry) => entry.startTime));
    const gaps = starts.slice(1).map((start, i) => Math.round(start - starts[i]));
    assert.ok(gaps.length >= 6 && gaps.every((gap) => gap >= 990), `gaps of ${gaps} ms`);
    assert.deepEqual(new Set(answers.slice(1)), new Set([304]));
  }, {prepare: full_queue});

page_test('a hidden page sends no requests and polls at once when it is visible again',
  async ({machine, page}) => {
    let requests = 0;
    page.on('request', (request) => { requests += request.url().includes('c=queue') ? 1 : 0; });
    await page.goto(machine.url);
    await page.getByText('The queue is empty').waitFor();
    const set_hidden = (hidden) => page.evaluate((value) => {
      Object.defineProperty(document, 'hidden', {value, configurable: true});
      document.dispatchEvent(new Event('visibilitychange'));
    }, hidden);
    await set_hidden(true);
    const before = requests;
    await page.waitForTimeout(2500);
    assert.equal(requests, before);
    await set_hidden(false);
    await until('a look', () => requests > before);
  });

page_test('a missing service is reported, and the page reconnects when it returns',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await page.locator('.job').first().waitFor();
    await machine.tell('stop service');
    await page.getByText('The service is not running').waitFor();
    await until_equal(() => text_of(page, '#pulse-text'), 'Offline');
    assert.equal(await visible_rows(page), 3);
    await machine.tell('start service');
    await page.getByText('Live').waitFor();
    await page.locator('#away').waitFor({state: 'hidden'});
    await page.locator('#said').getByText('The service is available again.').waitFor({state: 'attached'});
    await until_equal(() => visible_rows(page), 3);
  }, {prepare: (machine) => machine.write_queue(ended(3))});

page_test('a missing web server is reported, and the page reconnects when it returns',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await page.getByText('Live').waitFor();
    await machine.tell('stop web');
    await page.getByText('The web server does not answer.').waitFor();
    await machine.tell('start web');
    await page.getByText('Live').waitFor();
  });

const trap = '<img src=x onerror=alert(1)>&amp;"\'`.ts';
page_test('names and texts are shown literally, whatever they contain',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await page.locator('.job').first().waitFor();
    assert.equal(await page.locator('.name').innerText(), trap);
    assert.equal(await page.locator('.text').innerText(), '<b>bold</b>');
    assert.equal(await page.locator('.job img[src="x"], .job b').count(), 0);
  }, {prepare: (machine) => machine.write_queue(
    ended(1, () => ({'input file': `/mnt/media/${trap}`, 'state': '<b>bold</b>'})))});

page_test('characters that change the text direction are shown, not obeyed',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await page.locator('.job').first().waitFor();
    assert.equal(await page.locator('.name').innerText(), 'a\\u202egpj.\\u2066ts');
    assert.equal(await page.locator('.text').innerText(), 'Rejected:\\x1b\\u0085 \\u200fend');
    const marked = await page.evaluate(() => document.body.innerHTML
      .match(/[\u0080-\u009f\u200f\u202e\u2066]|\u001b/g));
    assert.equal(marked, null);
  }, {prepare: (machine) => machine.write_queue(
    ended(1, () => ({'input file': '/mnt/media/a\u202egpj.\u2066ts',
      'state': 'Rejected:\u001b\u0085 \u200fend'})))});

page_test('a page past the end of the queue becomes the last page', async ({machine, page}) => {
  await page.goto(`${machine.url}#first=320`);
  await page.getByText('33\u201340 of 40').waitFor();
}, {prepare: (machine) => machine.write_queue(ended(40))});

const long_name = `${'\u00dcbertragung der K\u00f6niglichen Festspiele '.repeat(4)}.ts`;
page_test('a phone shows long names without horizontal scrolling', async ({machine, page}) => {
  await page.goto(machine.url);
  await page.locator('.job').first().waitFor();
  const width = await page.evaluate(() => document.documentElement.scrollWidth);
  assert.equal(width, 390);
  const button = await page.getByRole('button', {name: /^Restart/}).first().boundingBox();
  assert.ok(button.height >= 44 && button.x + button.width <= 390);
}, {viewport: {width: 390, height: 844}, prepare: (machine) => machine.write_queue(ended(2,
  (i) => ({'input file': `/mnt/media/${i ? long_name : `${'x'.repeat(200)}.ts`}`})))});

page_test('the narrowest phone shows every job and button completely', async ({machine, page}) => {
  await page.goto(machine.url);
  await page.locator('.job').first().waitFor();
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 320);
  const cut = () => page.evaluate(() => [...document.querySelectorAll('button')]
    .filter((button) => button.checkVisibility()
      && (button.scrollWidth > button.clientWidth || button.getBoundingClientRect().right > 320))
    .map((button) => button.textContent));
  assert.deepEqual(await cut(), []);
  await page.getByRole('button', {name: 'Add a file'}).click();
  assert.deepEqual(await cut(), []);
  await page.keyboard.press('Escape');
  await page.getByRole('button', {name: /^Remove held/}).click();
  assert.deepEqual(await cut(), []);
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 320);
}, {viewport: {width: 320, height: 568}, prepare: (machine) => machine.write_queue([
  ...ended(2, (i) => ({'input file': `/mnt/media/${i ? long_name : `${'x'.repeat(200)}.ts`}`})),
  {'transcode state': 'ready', 'ready state': 'ready to transcode', 'paused': true,
    'quoted profile': ['1080', '720'], 'transcode profile': '720', 'delete on finish': true,
    'input file': '/mnt/media/held.ts'}])});

page_test('a dark screen gets dark colours', async ({machine, page}) => {
  await page.goto(machine.url);
  await page.getByText('The queue is empty').waitFor();
  const colour = await page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  const light = colour.match(/\d+/g).map(Number).reduce((sum, part) => sum + part) / 3;
  assert.ok(light < 60, colour);
}, {colorScheme: 'dark'});

page_test('expected times are those of the gateway', async ({machine, page}) => {
  await machine.add(machine.make_clip('first.ts', 2));
  const moment = Math.floor(Date.now() / 1000) + 7 * 60;
  await page.route(/c=queue/, async (route) => {
    const headers = {...route.request().headers()};
    delete headers['if-none-match'];  // so that each answer has the jobs
    const response = await route.fetch({headers});
    const queue = await response.json();
    const job = queue.items[0];
    queue.items = [['a', 'running', moment], ['b', 'waiting', moment], ['c', 'waiting', null]]
      .map(([id, group, ready_at]) => ({...job, id, group, ready_at, file: `/mnt/media/${id}.ts`}));
    await route.fulfill({response, json: queue});
  });
  await page.goto(machine.url);
  const time = new Intl.DateTimeFormat('en-GB', {hour: '2-digit', minute: '2-digit', hourCycle: 'h23'})
    .format(moment * 1000);
  await row(page, 'a.ts').getByText(/^about [67] min left$/).waitFor();
  for (const name of ['a.ts', 'b.ts']) {
    await row(page, name).getByText(new RegExp(`^ready about .*${time} \\(estimate\\)$`)).waitFor();
  }
  assert.equal(await row(page, 'b.ts').locator('.left').textContent(), '');
  assert.equal(await row(page, 'c.ts').locator('.moment').textContent(), '');
  await page.unrouteAll({behavior: 'ignoreErrors'});
});
