// The page's words: states, times, refusals.

export const groups = [
  ['', 'All'], ['running', 'Running'], ['waiting', 'Waiting'], ['paused', 'Paused'],
  ['done', 'Done'], ['failed', 'Failed'], ['cancelled', 'Cancelled'],
];

const state_names = {
  'transcoding': 'Transcoding',
  'remote transcode': 'On the remote server',
  'thumbnail': 'Making the thumbnail',
  'cleanup': 'Cleaning up',
};

const step_names = {
  'check meta': 'Checking the file',
  'query profiles': 'Finding profiles',
};

// Characters that the browser would obey rather than show: control characters, and those that change
// the direction of the surrounding text. An invalid UTF-8 byte arrives as a lone surrogate (api.js).
const unshown =
  /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ud800-\udfff]/gu;

function escaped(character) {
  const code = character.charCodeAt(0);
  if (character === '\n') return '\\n';
  if (code >= 0xd800) return `\\x${(code & 0xff).toString(16)}`;
  return code < 0x80 ? `\\x${code.toString(16).padStart(2, '0')}`
    : `\\u${code.toString(16).padStart(4, '0')}`;
}

// Makes a text of unknown origin, such as a file name, safe to display.
export function shown(text) {
  return text.replace(unshown, escaped);
}

export function state_name(job) {
  if (job.group === 'running') return state_names[job.state] ?? 'Running';
  if (job.group === 'waiting') {
    return job.state === 'init' ? 'New' : step_names[job.step] ?? 'Waiting';
  }
  if (job.group === 'cancelled' && job.state === 'cancelling') return 'Cancelling';
  return groups.find(([group]) => group === job.group)?.[1] ?? shown(job.state);
}

// The service's text, unless it only repeats the state, and the reason why a failed job failed.
export function job_text(job) {
  return [service_text(job), job.reason].filter(Boolean).join(': ');
}

// How much of an interrupted transcode was there already.
export function resumed_text(job) {
  return job.resumed_at === null ? '' : `resumed at ${job.resumed_at} %`;
}

// Where a transcode runs that is spread over a cluster.
export function spread_text(job) {
  if (job.spread === null) return '';
  const {finished, segments, under_way, nodes, more_nodes} = job.spread;
  const where = nodes.length ? ` on ${nodes.join(', ')}` : '';
  const more = more_nodes ? ` and ${more_nodes} more` : '';
  return `${finished} of ${segments} segments, ${under_way} under way${where}${more}`;
}

function service_text(job) {
  const repeats = [job.state, job.group, state_name(job).toLowerCase()];
  return repeats.includes(job.text.trim().toLowerCase()) ? '' : shown(job.text);
}

export function file_name(path) {
  return shown(path.slice(path.lastIndexOf('/') + 1)) || 'No file yet';
}

export function folder_name(path) {
  return shown(path.slice(0, Math.max(path.lastIndexOf('/'), 0)));
}

// Profiles that are heights are shown as heights.
export function profile_name(profile) {
  return /^\d+$/.test(profile) ? `${profile}p` : shown(profile);
}

const two = (number) => String(number).padStart(2, '0');

export function clock_length(seconds) {
  const whole = Math.round(seconds);
  const [hours, minutes] = [Math.floor(whole / 3600), Math.floor(whole / 60) % 60];
  return hours ? `${hours}:${two(minutes)}:${two(whole % 60)}` : `${minutes}:${two(whole % 60)}`;
}

export function time_left(ms) {
  const seconds = Math.round(ms / 1000);
  if (seconds < 10) return 'a few seconds left';
  if (seconds < 55) return `about ${Math.round(seconds / 10) * 10} s left`;
  const minutes = Math.round(seconds / 60);
  if (minutes < 60) return `about ${minutes} min left`;
  return `about ${Math.floor(minutes / 60)} h ${minutes % 60} min left`;
}

// A time of day, with the weekday unless it is today.
export function expected_at(moment, now) {
  const day = (time) => new Date(time).toDateString();
  const form = {hour: '2-digit', minute: '2-digit', hourCycle: 'h23'};
  if (day(moment) !== day(now)) form.weekday = 'short';
  const text = new Intl.DateTimeFormat('en-GB', form).format(moment);
  return `ready about ${text} (estimate)`;
}

const refusals = {
  'ITEM IS BUSY': 'The job is busy. Cancel it first.',
  'ITEM CANNOT BE CANCELLED': 'This is not possible in the current state of the job.',
  'NOT FOUND': 'The job is no longer in the queue.',
  'TOO MANY ITEMS': 'The queue is full: it has 512 unfinished jobs.',
  'One or more parameters were not accepted':
    'The service does not accept this path. Enter the full path of a file, beginning with /, '
    + 'below a directory that the service may read.',
  'ONE OR MORE PARAMETERS CANNOT BE MODIFIED':
    'This cannot be changed in the current state of the job.',
};

export function refusal_text(error) {
  return shown(error.message !== error.error && error.message ? error.message
    : refusals[error.error] ?? `Refused: ${error.error}`);
}

export function removal_text(job) {
  if (job.deletes_source && job.group !== 'done') {
    return 'This job was added with “delete the source”, so removing it can delete the source file '
      + 'from the disk. This cannot be undone.';
  }
  return job.group === 'done' ? 'This does not delete its VOD or its source.'
    : 'This does not delete its source.';
}
