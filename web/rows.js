// The rows of the list, one for each visible job. Rows are kept from one poll to the next, so that focus,
// selection and thumbnails do not change.
import {
  clock_length, expected_at, file_name, folder_name, job_text, profile_name, resumed_text, shown,
  spread_text, state_name, time_left,
} from './words.js';

const actions = {
  play: ['Play', 'i-play'],
  pause: ['Pause', 'i-pause'],
  resume: ['Resume', 'i-play'],
  restart: ['Restart', 'i-restart'],
  cancel: ['Cancel', 'i-cancel'],
  remove: ['Remove', 'i-remove'],
};

// The actions for a job, the likeliest first.
export function possible_actions(job) {
  const is_at_work = job.state !== 'init' && job.state !== 'ready';
  switch (job.group) {
  case 'running':
    if (job.state === 'cleanup') return [];
    return job.state === 'thumbnail' ? ['cancel'] : ['pause', 'cancel'];
  case 'waiting':
    return is_at_work ? ['pause', 'cancel'] : ['pause', 'cancel', 'remove'];
  case 'paused':
    return is_at_work ? ['resume', 'cancel'] : ['resume', 'cancel', 'remove'];
  case 'done':
    return job.vod ? ['play', 'remove'] : ['remove'];
  default:
    // A job cannot be restarted until its tool has ended, which takes a moment.
    return job.state === 'cancelling' ? [] : ['restart', 'remove'];
  }
}

function set_text(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

function set_shown(element, shown) {
  if (element.hidden === shown) element.hidden = !shown;
}

function from_template(id) {
  return document.getElementById(id).content.firstElementChild.cloneNode(true);
}

function make_action(name) {
  const button = from_template('action');
  button.dataset.action = name;
  button.querySelector('use').setAttribute('href', `#${actions[name][1]}`);
  button.querySelector('.action-name').textContent = actions[name][0];
  return button;
}

// Buttons that remain are not touched, so that they keep the focus. If the button with the focus is
// removed, the row takes the focus, unless another button takes its place.
function update_actions(row, job) {
  const place = row.querySelector('.actions');
  const wanted = possible_actions(job);
  const had_focus = place.contains(document.activeElement);
  for (const button of [...place.children]) {
    if (!wanted.includes(button.dataset.action)) button.remove();
  }
  wanted.forEach((name, i) => {
    let button = place.querySelector(`[data-action="${name}"]`);
    if (!button) {
      button = make_action(name);
      place.insertBefore(button, place.children[i] ?? null);
    }
    const label = `${actions[name][0]} ${file_name(job.file)}`;
    if (button.getAttribute('aria-label') !== label) {
      button.setAttribute('aria-label', label);
      button.title = actions[name][0];
    }
  });
  if (had_focus && !place.contains(document.activeElement)) (place.firstElementChild ?? row).focus();
}

function update_picture(row, job) {
  const image = row.querySelector('img');
  const address = job.thumbnail ?? '';
  if ((image.getAttribute('src') ?? '') === address) return;
  image.hidden = true;
  if (address) {
    image.onload = () => { image.hidden = false; };
    image.src = address;
  } else {
    image.removeAttribute('src');
  }
}

function update_progress(row, job) {
  const has_begun = job.state === 'transcoding' || job.state === 'remote transcode';
  set_shown(row.querySelector('.going'), has_begun);
  if (!has_begun) return;
  const bar = row.querySelector('progress');
  bar.value = job.progress;
  bar.setAttribute('aria-label', `Progress of ${file_name(job.file)}`);
  set_text(row.querySelector('.percent'), `${Math.floor(job.progress / 100)} %`);
}

// A profile can be chosen once the profiles are known, until the transcode begins.
function update_profile(row, job) {
  const is_open = job.state === 'ready' && job.profiles.length > 1;
  const select = row.querySelector('select');
  set_shown(row.querySelector('.choice'), is_open);
  set_text(row.querySelector('.profile'), is_open ? '' : profile_name(job.profile));
  if (!is_open || document.activeElement === select) return;
  const names = job.profiles.includes(job.profile) ? job.profiles : [job.profile, ...job.profiles];
  if (select.dataset.names !== names.join('\n')) {
    select.replaceChildren(...names.map((name) => new Option(profile_name(name), name)));
    select.dataset.names = names.join('\n');
  }
  select.value = job.profile;
}

function update_row(row, job) {
  row.dataset.group = job.group;
  set_text(row.querySelector('.name'), file_name(job.file));
  row.querySelector('.name').title = shown(job.file);
  set_text(row.querySelector('.folder'), folder_name(job.file));
  set_text(row.querySelector('.state-name'), state_name(job));
  set_text(row.querySelector('.text'), job_text(job));
  set_shown(row.querySelector('.text'), job_text(job) !== '');
  set_text(row.querySelector('.resumed'), resumed_text(job));
  set_text(row.querySelector('.spread'), spread_text(job));
  set_text(row.querySelector('.length'), job.length ? `${clock_length(job.length)} long` : '');
  set_shown(row.querySelector('.deletes'), job.deletes_source && job.group !== 'done');
  update_picture(row, job);
  update_progress(row, job);
  update_profile(row, job);
  update_actions(row, job);
}

// Puts rows for these jobs, in this order, into the list.
export function update_rows(list, jobs) {
  const rows = new Map([...list.children].map((row) => [row.dataset.id, row]));
  const focused = document.activeElement;
  const focused_row = focused?.closest?.('.job');
  const focused_index = focused_row ? [...list.children].indexOf(focused_row) : -1;
  const wanted = new Set(jobs.map((job) => job.id));
  for (const [id, row] of rows) {
    if (!wanted.has(id)) row.remove();
  }
  jobs.forEach((job, i) => {
    const row = rows.get(job.id) ?? from_template('job');
    row.dataset.id = job.id;
    if (list.children[i] !== row) list.insertBefore(row, list.children[i] ?? null);
    update_row(row, job);
  });
  if (focused_index < 0 || list.contains(document.activeElement)) return;
  // The row with the focus was moved, which removes the focus, or it no longer exists.
  const next = list.children[Math.min(focused_index, list.children.length - 1)];
  (focused.isConnected ? focused : next ?? document.getElementById('list-title')).focus();
}

// Writes the gateway's estimates into the rows of the jobs.
export function update_estimates(list, jobs, now) {
  const moments = new Map(jobs.filter((job) => job.ready_at !== null)
    .map((job) => [job.id, {at: job.ready_at * 1000, is_running: job.group === 'running'}]));
  for (const row of list.children) {
    const moment = moments.get(row.dataset.id);
    const left = moment?.is_running ? time_left(Math.max(moment.at - now, 0)) : '';
    set_text(row.querySelector('.left'), left);
    set_text(row.querySelector('.moment'), moment ? expected_at(moment.at, now) : '');
  }
}
