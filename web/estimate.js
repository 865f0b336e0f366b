// Estimates when a job will be ready, from the speed of its progress and of earlier jobs with the same
// profile. An estimate without enough data is omitted.

const window_ms = 60000;
const least_span_ms = 4000;
const least_progress = 30;  // of 10000
const furthest_ms = 48 * 3600 * 1000;
const complete = 10000;

// The time for thumbnail and metadata, which follow the transcode.
const by_products_ms = 3000;

// The speed of the visible jobs.
export class progress_rates {
  #samples = new Map();

  // Records the progress of a running job, and forgets any other.
  note(job, now) {
    if (job.group !== 'running') {
      this.#samples.delete(job.id);
      return;
    }
    const samples = this.#samples.get(job.id) ?? [];
    const last = samples.at(-1);
    if (last && job.progress < last.progress) samples.length = 0;
    if (!last || job.progress !== last.progress) samples.push({now, progress: job.progress});
    while (samples.length > 2 && now - samples[0].now > window_ms) samples.shift();
    this.#samples.set(job.id, samples);
  }

  // Ten-thousandths per millisecond; 0 without enough data.
  rate(id) {
    const samples = this.#samples.get(id) ?? [];
    if (samples.length < 3) return 0;
    const span = samples.at(-1).now - samples[0].now;
    const progress = samples.at(-1).progress - samples[0].progress;
    return span >= least_span_ms && progress >= least_progress ? progress / span : 0;
  }

  // Milliseconds until the job's progress is complete, or null.
  left(id, now) {
    const rate = this.rate(id);
    if (!rate) return null;
    const last = this.#samples.get(id).at(-1);
    const left = (complete - last.progress) / rate - (now - last.now);
    return left <= furthest_ms ? Math.max(left, 0) : null;
  }
}

// Seconds of media encoded per second, by profile; stored by the browser.
export class profile_speeds {
  static #key = 'vod-speeds';
  static #most = 32;
  #speeds = {};

  constructor(storage) {
    this.storage = storage;
    try {
      const kept = JSON.parse(storage.getItem(profile_speeds.#key)) ?? {};
      for (const [profile, speed] of Object.entries(kept)) {
        if (speed > 0 && speed < 10000) this.#speeds[profile] = speed;
      }
    } catch {
      // Nothing is stored, or not by this page: start without data.
    }
  }

  learn(profile, speed) {
    const known = this.#speeds[profile];
    if (!known && Object.keys(this.#speeds).length >= profile_speeds.#most) return;
    this.#speeds[profile] = known ? known * 0.9 + speed * 0.1 : speed;
    try {
      this.storage.setItem(profile_speeds.#key, JSON.stringify(this.#speeds));
    } catch {
      // The browser stores nothing for this page: the data lasts as long as the page is open.
    }
  }

  // Milliseconds that this many seconds of media take, or null.
  time_for(profile, length) {
    const speed = this.#speeds[profile];
    return speed && length ? length / speed * 1000 : null;
  }
}

export function learn_speeds(line, rates, speeds) {
  for (const job of line) {
    const rate = rates.rate(job.id);
    if (rate && job.length && job.profile) {
      speeds.learn(job.profile, rate / complete * job.length * 1000);
    }
  }
}

// The expected times of the waiting jobs, by id. A job of unknown duration ends the list, because all
// later times would be guesses.
export function expected_moments(line, rates, speeds, now) {
  const moments = new Map();
  let moment = now;
  for (const job of line) {
    const whole = speeds.time_for(job.profile, job.length);
    const rest = whole === null ? null : whole * (1 - job.progress / complete);
    const left = rates.left(job.id, now) ?? rest;
    if (left === null || moment + left - now > furthest_ms) break;
    moment += left + by_products_ms;
    moments.set(job.id, moment);
  }
  return moments;
}
