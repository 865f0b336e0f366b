// Actions on the page, by mouse and by keyboard.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import {page_test, row, until, until_equal} from './machine.mjs';

const button = (page, name, file) => row(page, file).getByRole('button', {name: `${name} ${file}`});

// A job that waits for the user, so that it does not change.
function paused_job(more = {}) {
  return (machine) => {
    machine.make_clip('held.ts');
    machine.write_queue([{'transcode state': 'ready', 'ready state': 'ready to transcode',
      'paused': true, 'quoted profile': ['180', '144'], 'transcode profile': '180',
      'input file': '/mnt/media/held.ts', ...more}]);
  };
}

const failed_job = (more = {}) => paused_job(
  {'transcode state': 'cancelled', 'state': 'Transcoding failed', 'paused': false, ...more});

async function fill_in(page, file) {
  await page.getByRole('button', {name: 'Add a file'}).first().click();
  await page.getByLabel('Path on the server').fill(file);
}

page_test('a file added by its path, with a profile, becomes a VOD that plays in place',
  async ({machine, page}) => {
    const file = machine.make_clip('clip \u00e4 100%.ts', 3, '640x480');
    const statuses = [];
    page.on('response', (response) => {
      if (response.url().endsWith('.mp4')) statuses.push(response.status());
    });
    await page.goto(machine.url);
    await fill_in(page, file);
    await page.locator('#add-profile').selectOption('240');
    await page.getByRole('button', {name: 'Add', exact: true}).click();
    await button(page, 'Play', 'clip \u00e4 100%.ts').click();
    await page.waitForFunction(() => document.getElementById('video').currentTime > 0.3);
    assert.equal(await page.locator('#video').evaluate((video) => video.videoHeight), 240);
    assert.deepEqual(new Set(statuses), new Set([206]));
    await page.getByRole('button', {name: 'Close'}).click();
    await until_equal(() => page.locator('#video').getAttribute('src'), null);
  });

page_test('a name that is not UTF-8 is shown by its bytes, has a thumbnail and plays',
  async ({machine, page}) => {
    const plain = machine.path(machine.make_clip('plain.ts', 3));
    const folder = Buffer.from(machine.path('/mnt/media/'));
    fs.renameSync(plain, Buffer.concat([folder, Buffer.from('f\xfcr \xc3.ts', 'latin1')]));
    const id = await machine.add_bytes('/mnt/media/f\xfcr \xc3.ts');
    await page.goto(machine.url);
    const job = page.locator(`.job[data-id="${id}"]`);
    await job.getByText('Done', {exact: true}).waitFor();
    assert.equal(await job.locator('.name').innerText(), 'f\\xfcr \\xc3.ts');
    await until('a picture', () => job.locator('img').evaluate((image) => image.naturalWidth > 0));
    await job.getByRole('button', {name: /^Play/}).click();
    await page.waitForFunction(() => document.getElementById('video').currentTime > 0.3);
  });

page_test('refusing a profile lists those that the file offers',
  async ({machine, page}) => {
    const file = machine.make_clip('small.ts', 2, '640x480');
    await page.goto(machine.url);
    await fill_in(page, file);
    await page.locator('#add-profile').selectOption('1080');
    await page.getByRole('button', {name: 'Add', exact: true}).click();
    await page.locator('#add-error').getByText('offered: 480, 360, 240.').waitFor();
    assert.equal((await machine.queue()).total, 0);
  });

page_test('a refused file shows the reason and leaves nothing in the queue',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await fill_in(page, '/mnt/media/gone.ts');
    await page.getByRole('button', {name: 'Add', exact: true}).click();
    await page.locator('#add-error').getByText(/^Rejected: file not accessible/).waitFor();
    assert.ok(await page.locator('#add-dialog').isVisible());
    await until('an empty queue', async () => (await machine.queue()).total === 0);
    await page.getByLabel('Path on the server').fill('clip.ts');
    await page.getByRole('button', {name: 'Add', exact: true}).click();
    await page.getByText('it begins with a slash').waitFor();
  });

page_test('pause and resume', async ({machine, page}) => {
  const id = await machine.add(machine.make_clip('long.ts', 120, '640x360'));
  await machine.wait_for(id, 'running');
  await page.goto(machine.url);
  await button(page, 'Pause', 'long.ts').click();
  await machine.wait_for(id, 'paused');
  await button(page, 'Resume', 'long.ts').click();
  await machine.wait_for(id, 'running');
  await button(page, 'Pause', 'long.ts').waitFor();
});

page_test('cancel and restart', async ({machine, page}) => {
  const id = await machine.add(machine.make_clip('long.ts', 120, '640x360'));
  await machine.wait_for(id, 'running');
  await page.goto(machine.url);
  await button(page, 'Cancel', 'long.ts').click();
  await row(page, 'long.ts').getByText('Cancelled', {exact: true}).waitFor();
  await button(page, 'Restart', 'long.ts').click();
  await machine.wait_for(id, 'running');
});

page_test('a cancelled job can be restarted once its tool has ended', async ({machine, page}) => {
  const tool = machine.path('/tools/qxmi_vod_transcode');
  fs.renameSync(tool, `${tool}.real`);
  fs.writeFileSync(tool, `#!/bin/sh
case " $* " in *" --quote "*) exec "$0.real" "$@" ;; esac
trap 'until [ -e /run/end ]; do sleep 0.05; done; exit 0' TERM
touch /run/begun
while :; do sleep 0.05; done
`, {mode: 0o755});
  await machine.add(machine.make_clip('slow.ts'));
  await until('the transcode', () => fs.existsSync(machine.path('/run/begun')));
  await page.goto(machine.url);
  await button(page, 'Cancel', 'slow.ts').click();
  await row(page, 'slow.ts').getByText('Cancelling', {exact: true}).waitFor();
  assert.equal(await row(page, 'slow.ts').getByRole('button').count(), 0);
  fs.writeFileSync(machine.path('/run/end'), '');
  await row(page, 'slow.ts').getByText('Cancelled', {exact: true}).waitFor();
  fs.rmSync(machine.path('/run/begun'));
  await button(page, 'Restart', 'slow.ts').click();
  await until('another transcode', () => fs.existsSync(machine.path('/run/begun')));
});

page_test('a job is removed only after confirmation', async ({machine, page}) => {
  await page.goto(machine.url);
  await button(page, 'Remove', 'held.ts').click();
  await page.getByRole('button', {name: 'Keep the job'}).click();
  assert.equal((await machine.queue()).total, 1);
  await button(page, 'Remove', 'held.ts').click();
  await page.locator('#remove-yes').click();
  await page.getByText('The queue is empty').waitFor();
  assert.ok(fs.existsSync(machine.path('/mnt/media/held.ts')));
}, {prepare: failed_job()});

page_test('a job that would delete its source can be removed without deleting it',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await button(page, 'Remove', 'held.ts').click();
    await page.getByText('removing it can delete the source file').waitFor();
    await page.getByRole('button', {name: 'Remove, keep the source'}).click();
    await page.getByText('The queue is empty').waitFor();
    assert.ok(fs.existsSync(machine.path('/mnt/media/held.ts')));
  }, {prepare: failed_job({'delete on finish': true})});

page_test('a profile can be chosen while a job waits', async ({machine, page}) => {
  await page.goto(machine.url);
  await row(page, 'held.ts').getByLabel('Profile').selectOption('144');
  await until('the profile', async () => (await machine.queue()).items[0].profile === '144');
}, {prepare: paused_job()});

page_test('a refused command is explained in plain words', async ({machine, page}) => {
  await page.goto(machine.url);
  await button(page, 'Remove', 'held.ts').waitFor();
  const {items: [job]} = await machine.queue();
  await button(page, 'Remove', 'held.ts').click();
  await machine.post('c=command&vc=remove', JSON.stringify({id: job.id}), {'X-Vod-Page': '1'});
  await until('an empty queue', async () => (await machine.queue()).total === 0);
  await page.locator('#remove-yes').click();
  await page.getByText('The job is no longer in the queue.').waitFor();
}, {prepare: failed_job()});

page_test('every action works by keyboard', async ({machine, page}) => {
  const file = machine.make_clip('typed.ts');
  await page.goto(machine.url);
  await row(page, 'held.ts').waitFor();
  const focused = () => page.evaluate(() => document.activeElement.id
    || document.activeElement.getAttribute('aria-label'));
  const tab_to = (name) => until(`focus on ${name}`, async () => {
    await page.keyboard.press('Tab');
    return await focused() === name;
  });
  await tab_to('add');
  await page.keyboard.press('Enter');
  await page.keyboard.type('/mnt/media/nothing.ts');
  await page.keyboard.press('Escape');
  await until_equal(focused, 'add');
  await page.keyboard.press('Enter');
  await page.keyboard.type(file);
  await page.keyboard.press('Enter');
  await row(page, 'typed.ts').getByText('Done', {exact: true}).waitFor();
  await tab_to('Resume held.ts');
  await page.keyboard.press('ArrowDown');
  await until_equal(focused, 'Play typed.ts');
  await page.keyboard.press('ArrowUp');
  await page.keyboard.press('Tab');
  await until_equal(focused, 'Cancel held.ts');
}, {prepare: paused_job()});

page_test('a change of the queue does not move the focus', async ({machine, page}) => {
  const file = machine.make_clip('late.ts', 2);
  await page.goto(machine.url);
  await button(page, 'Remove', 'held.ts').focus();
  const id = await machine.add(file);
  await machine.wait_for(id, 'done');
  await row(page, 'late.ts').getByText('Done', {exact: true}).waitFor();
  const label = await page.evaluate(() => document.activeElement.getAttribute('aria-label'));
  assert.equal(label, 'Remove held.ts');
}, {prepare: paused_job()});

page_test('focus stays in the row when the pressed button disappears',
  async ({machine, page}) => {
    await page.goto(machine.url);
    await button(page, 'Restart', 'held.ts').focus();
    await page.keyboard.press('Enter');
    await row(page, 'held.ts').getByText('Done', {exact: true}).waitFor();
    assert.ok(await row(page, 'held.ts').evaluate((job) => job.contains(document.activeElement)));
  }, {prepare: failed_job({'quoted profile': [], 'transcode profile': ''})});

page_test('every control has a name', async ({machine, page}) => {
  await page.goto(machine.url);
  await row(page, 'held.ts').waitFor();
  const nameless = await page.evaluate(() => [...document.querySelectorAll('button, input, select')]
    .filter((control) => !(control.getAttribute('aria-label') || control.textContent.trim()
      || control.labels?.[0]?.textContent.trim()) && !control.closest('[hidden]'))
    .map((control) => control.outerHTML));
  assert.deepEqual(nameless, []);
}, {prepare: paused_job()});
