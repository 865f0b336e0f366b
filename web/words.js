// The page's words: states, times, refusals.

export const groups = [
  ['', 'All'], ['running', 'Running'], ['waiting', 'Waiting'], ['paused', 'Paused'],
  ['done', 'Done'], ['failed', 'Failed'], ['cancelled', 'Cancelled'],
];

const state_names = {
  'transcoding': 'Transcoding',
  'remote transcode': 'On the other server',
  'thumbnail': 'Making the thumbnail',
  'cleanup': 'Cleaning up',
};

const step_names = {
  'check meta': 'Looking at the file',
  'query profiles': 'Finding profiles',
};

// What the browser would obey rather than show: control characters, and those that turn the
// direction of what stands around them. A byte that is no UTF-8 comes as a lone surrogate (api.js).
const unshown =
  /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ud800-\udfff]/gu;

function escaped(character) {
  const code = character.charCodeAt(0);
  if (character === '\n') return '\\n';
  if (code >= 0xd800) return `\\x${(code & 0xff).toString(16)}`;
  return code < 0x80 ? `\\x${code.toString(16).padStart(2, '0')}`
    : `\\u${code.toString(16).padStart(4, '0')}`;
}

// A text of unknown origin, such as a file's name, as it can be put on the page.
export function shown(text) {
  return text.replace(unshown, escaped);
}

export function state_name(job) {
  if (job.group === 'running') return state_names[job.state] ?? 'Running';
  if (job.group === 'waiting') {
    return job.state === 'init' ? 'New' : step_names[job.step] ?? 'Waiting';
  }
  return groups.find(([group]) => group === job.group)?.[1] ?? shown(job.state);
}

// The service's text, unless it says no more than the state, and why a failed job failed.
export function job_text(job) {
  return [service_text(job), job.reason].filter(Boolean).join(': ');
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

// Profiles that are heights read as such.
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

// A moment of the day, with the day where it is not today.
export function expected_at(moment, now) {
  const day = (time) => new Date(time).toDateString();
  const form = {hour: '2-digit', minute: '2-digit', hourCycle: 'h23'};
  if (day(moment) !== day(now)) form.weekday = 'short';
  const text = new Intl.DateTimeFormat('en-GB', form).format(moment);
  return `ready about ${text} (estimate)`;
}

const refusals = {
  'ITEM IS BUSY': 'The job is busy. Cancel it first.',
  'ITEM CANNOT BE CANCELLED': 'That is not possible in the state in which the job is now.',
  'NOT FOUND': 'The job is not in the queue any more.',
  'TOO MANY ITEMS': 'The queue is full: 512 jobs are not finished.',
  'One or more parameters were not accepted':
    'The service does not take this path. It must be a whole path, from / to the file, '
    + 'below a folder that the service may read.',
  'ONE OR MORE PARAMETERS CANNOT BE MODIFIED':
    'That cannot be changed in the state in which the job is now.',
};

export function refusal_text(error) {
  return shown(error.message !== error.error && error.message ? error.message
    : refusals[error.error] ?? `Refused: ${error.error}`);
}

export function removal_text(job) {
  if (job.deletes_source && job.group !== 'done') {
    return 'The job was added with “delete the source”, so removing it can delete the source file '
      + 'from the disk. That cannot be undone.';
  }
  return job.group === 'done' ? 'Its VOD and its source stay where they are.'
    : 'Its source stays where it is.';
}
