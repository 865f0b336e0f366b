// The queue page: polls the queue once a second and shows it.
import {gateway_error, queue_reader, send_command} from './api.js';
import {ask_for_file, ask_for_removal, play, set_up_add} from './dialogs.js';
import {update_estimates, update_rows} from './rows.js';
import {file_name, groups, job_text, refusal_text, state_name} from './words.js';

const $ = (id) => document.getElementById(id);

const period_ms = 1000;
const away_period_ms = 3000;
const typing_pause_ms = 250;
const per_page = 32;
// Up to this many ended jobs are announced one by one; more are announced as a number.
const most_announced = 3;

const reader = new queue_reader();
const list = $('jobs');

let queue = null;  // the gateway's last answer
let looking = null;  // the AbortController of the request under way
let timer = 0;
let seen_groups = new Map();  // the group of each job when it was last in sight

// Filter, search and page are part of the address, so that a reload or a bookmark restores them.
function read_address() {
  const fields = new URLSearchParams(location.hash.slice(1));
  const first = Number.parseInt(fields.get('first') ?? '0', 10);
  return {
    show: groups.some(([group]) => group === fields.get('show')) ? fields.get('show') : '',
    search: (fields.get('search') ?? '').slice(0, 60),
    first: first > 0 && first < 1000000 ? first : 0,
  };
}

let wanted = read_address();

function write_address() {
  const fields = Object.entries(wanted).filter(([, value]) => value);
  const hash = new URLSearchParams(fields.map(([name, value]) => [name, String(value)])).toString();
  history.replaceState(null, '', hash ? `#${hash}` : location.pathname);
}

function say(text) {
  $('said').textContent = text;
}

function show_notice(text) {
  $('notice-text').textContent = text;
  $('notice').hidden = text === '';
}

// The jobs that ended, or began to run, since the last poll.
function tell_changes(jobs) {
  const announced = jobs.filter((job) => seen_groups.has(job.id)
    && seen_groups.get(job.id) !== job.group && job.group !== 'waiting');
  seen_groups = new Map(jobs.map((job) => [job.id, job.group]));
  if (announced.length > most_announced) {
    say(`${announced.length} jobs changed.`);
  } else if (announced.length) {
    say(announced.map((job) => `${file_name(job.file)}: ${state_name(job)}. ${job_text(job)}`).join(' '));
  }
}

function show_filters() {
  if (!$('filters').querySelector('.filter')) {
    for (const [group, name] of groups) {
      const filter = $('filter').content.firstElementChild.cloneNode(true);
      filter.dataset.group = group;
      filter.querySelector('input').value = group;
      filter.querySelector('.filter-name').textContent = name;
      $('filters').append(filter);
    }
  }
  for (const filter of $('filters').querySelectorAll('.filter')) {
    const {group} = filter.dataset;
    const count = queue ? (group ? queue.groups[group] : queue.total) : '';
    filter.querySelector('input').checked = group === wanted.show;
    filter.querySelector('.filter-count').textContent = String(count);
    filter.toggleAttribute('data-some', count > 0);
  }
}

function show_emptiness() {
  $('empty').hidden = queue.matches > 0;
  if (queue.matches > 0) return;
  const is_empty = queue.total === 0;
  $('empty-title').textContent = is_empty ? 'The queue is empty' : 'No matching jobs';
  $('empty-text').textContent = is_empty ? 'Add a file to make a VOD of it.'
    : 'No job in the queue matches the filter and the search.';
  $('empty-action').textContent = is_empty ? 'Add a file' : 'Show all jobs';
  $('empty-action').onclick = is_empty ? ask_for_file : () => look_at({show: '', search: ''});
}

function show_pager() {
  $('pager').hidden = queue.matches <= per_page;
  const last = queue.first + queue.items.length;
  $('range').textContent = `${queue.first + 1}\u2013${last} of ${queue.matches}`;
  $('earlier').disabled = queue.first === 0;
  $('later').disabled = last >= queue.matches;
}

function show_queue() {
  show_filters();
  show_emptiness();
  show_pager();
  update_rows(list, queue.items);
  tell_changes(queue.items);
  const running = queue.groups.running;
  document.title = running ? `(${running}) VOD queue` : 'VOD queue';
}

// Time passes even if nothing changes, so this is done at every poll.
function show_estimates() {
  update_estimates(list, queue.items, Date.now());
}

function show_live() {
  if ($('pulse').dataset.state === 'away') say('The service is available again.');
  $('pulse').dataset.state = 'live';
  $('pulse-text').textContent = 'Live';
  $('away').hidden = true;
  document.body.classList.remove('stale');
}

function show_away(error) {
  if ($('pulse').dataset.state === 'away' && $('away-title').textContent === error.message) return;
  $('pulse').dataset.state = 'away';
  $('pulse-text').textContent = 'Offline';
  $('away-title').textContent = error.message;
  $('away-text').textContent = queue
    ? 'The list shows the last known state of the queue. This page reconnects automatically.'
    : 'This page reconnects automatically.';
  $('away').hidden = false;
  document.body.classList.add('stale');
}

// The page number can be past the end of a queue that became shorter.
function is_beyond_end() {
  return queue.items.length === 0 && queue.first > 0;
}

async function look() {
  clearTimeout(timer);
  looking?.abort();
  looking = null;
  if (document.hidden) return;
  const mine = new AbortController();
  looking = mine;
  let pause_ms = period_ms;
  try {
    const answer = await reader.read({...wanted, count: per_page}, mine.signal);
    if (looking !== mine) return;
    show_live();
    if (answer) {
      queue = answer;
      if (is_beyond_end()) {
        look_at({first: Math.floor(Math.max(queue.matches - 1, 0) / per_page) * per_page});
        return;
      }
      show_queue();
    }
    show_estimates();
  } catch (error) {
    if (looking !== mine) return;
    reader.forget();
    pause_ms = away_period_ms;
    if (!(error instanceof gateway_error)) throw error;
    show_away(error);
  } finally {
    // Poll again after any error.
    if (looking === mine) timer = setTimeout(look, pause_ms);
  }
}

// Changes filter, search or page, and polls at once.
function look_at(change) {
  wanted = {...wanted, first: 0, ...change};
  if ($('search').value.trim() !== wanted.search) $('search').value = wanted.search;
  write_address();
  show_filters();
  look();
}

async function command(word, body) {
  try {
    await send_command(word, body);
    show_notice('');
    return true;
  } catch (error) {
    if (!(error instanceof gateway_error)) throw error;
    show_notice(refusal_text(error));
    return false;
  } finally {
    look();
  }
}

async function remove(job, keeps_source) {
  if (keeps_source && !await command('modify', {id: job.id, deletes_source: false})) return;
  if (await command('remove', {id: job.id})) say(`${file_name(job.file)} was removed.`);
}

async function act(name, job, button) {
  if (name === 'play') {
    play(job);
  } else if (name === 'remove') {
    ask_for_removal(job, (keeps_source) => remove(job, keeps_source));
  } else {
    // Not disabled, because that would remove the focus.
    if (button.ariaBusy === 'true') return;
    button.ariaBusy = 'true';
    await command(name, {id: job.id});
    button.ariaBusy = 'false';
  }
}

function job_of(element) {
  const id = element.closest('.job')?.dataset.id;
  return queue?.items.find((job) => job.id === id);
}

list.addEventListener('click', (event) => {
  const button = event.target.closest('[data-action]');
  const job = button && job_of(button);
  if (job) act(button.dataset.action, job, button);
});

list.addEventListener('change', (event) => {
  const job = job_of(event.target);
  if (job) command('modify', {id: job.id, profile: event.target.value});
});

// Up and down move from row to row.
list.addEventListener('keydown', (event) => {
  const row = event.target.closest('.job');
  if (!row || event.target.matches('select')) return;
  const next = {ArrowDown: row.nextElementSibling, ArrowUp: row.previousElementSibling}[event.key];
  if (!next) return;
  event.preventDefault();
  (next.querySelector('button') ?? next).focus();
});

let typing = 0;
$('search').addEventListener('input', () => {
  clearTimeout(typing);
  typing = setTimeout(() => look_at({search: $('search').value.trim()}), typing_pause_ms);
});

$('filters').addEventListener('change', (event) => look_at({show: event.target.value}));

function turn_page(first) {
  look_at({first});
  $('list-title').focus({preventScroll: true});
  scrollTo({top: 0});
}

$('earlier').addEventListener('click', () => turn_page(Math.max(wanted.first - per_page, 0)));
$('later').addEventListener('click', () => turn_page(wanted.first + per_page));
$('notice-close').addEventListener('click', () => show_notice(''));
$('add').addEventListener('click', ask_for_file);
set_up_add((file) => {
  say(`${file_name(file)} was added.`);
  look();
});

document.addEventListener('visibilitychange', () => {
  clearTimeout(timer);
  if (!document.hidden) look();
});

$('search').value = wanted.search;
show_filters();
look();
