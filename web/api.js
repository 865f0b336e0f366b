// The gateway, as the page uses it (docs/http.md). Every operation throws gateway_error unless it
// gets a valid answer.

const gateway = '../vod.cgi';

// The gateway gives up after 10 s.
const time_limit_ms = 15000;

export class gateway_error extends Error {
  // `away`: the service or the web server does not answer at the moment; retrying later may help.
  constructor(error, text, away) {
    super(text || error);
    this.error = error;
    this.away = away;
  }
}

const away_statuses = [502, 503, 504];

async function fetch_answer(address, options) {
  const out_of_time = AbortSignal.timeout(time_limit_ms);
  const signal = options.signal ? AbortSignal.any([options.signal, out_of_time]) : out_of_time;
  try {
    return await fetch(address, {...options, signal, cache: 'no-store'});
  } catch (error) {
    if (options.signal?.aborted) throw error;
    throw new gateway_error('no web server', 'The web server does not answer.', true);
  }
}

// One UTF-8 character in a text of bytes, or else a byte that belongs to no character.
const characters = new RegExp(
  '[\\x00-\\x7f]+|[\\xc2-\\xdf][\\x80-\\xbf]|\\xe0[\\xa0-\\xbf][\\x80-\\xbf]'
  + '|[\\xe1-\\xec\\xee\\xef][\\x80-\\xbf]{2}|\\xed[\\x80-\\x9f][\\x80-\\xbf]'
  + '|\\xf0[\\x90-\\xbf][\\x80-\\xbf]{2}|[\\xf1-\\xf3][\\x80-\\xbf]{3}'
  + '|\\xf4[\\x80-\\x8f][\\x80-\\xbf]{2}|([\\x80-\\xff])', 'g');

// File names are bytes and not always valid UTF-8: an invalid byte becomes a lone surrogate, U+DC80 to
// U+DCFF, so that different names remain different on the page.
function text_of(bytes) {
  try {
    return new TextDecoder('utf-8', {fatal: true}).decode(bytes);
  } catch {
    const decoder = new TextDecoder();
    let text = '';
    for (const byte of bytes) text += String.fromCharCode(byte);
    return text.replace(characters, (character, stray) => (stray
      ? String.fromCharCode(0xdc00 + stray.charCodeAt(0))
      : decoder.decode(Uint8Array.from(character, (byte) => byte.charCodeAt(0)))));
  }
}

async function read_json(response) {
  try {
    return JSON.parse(text_of(new Uint8Array(await response.arrayBuffer())));
  } catch {
    const text = `The web server answers with status ${response.status}.`;
    throw new gateway_error('unreadable answer', text, response.status >= 500);
  }
}

async function read_answer(response) {
  const answer = await read_json(response);
  if (response.ok) return answer;
  throw new gateway_error(answer?.error, answer?.text, away_statuses.includes(response.status));
}

export class queue_reader {
  #tag = '';
  #address = '';

  // The part of the queue that `wanted` selects, or null if it has not changed since the last call.
  async read(wanted, signal) {
    const address = `${gateway}?${new URLSearchParams({c: 'queue', ...wanted})}`;
    const known = address === this.#address && this.#tag;
    const response = await fetch_answer(
      address, {signal, headers: known ? {'If-None-Match': this.#tag} : {}});
    if (response.status === 304) return null;
    const answer = await read_answer(response);
    this.#address = address;
    this.#tag = response.headers.get('ETag') ?? '';
    return answer;
  }

  // Forgets the last answer: the next read() returns the whole part.
  forget() {
    this.#tag = '';
  }
}

// The header shows the gateway that the request is not from another page in this browser.
export async function send_command(word, body) {
  const address = `${gateway}?${new URLSearchParams({c: 'command', vc: word})}`;
  return read_answer(await fetch_answer(address, {
    method: 'POST',
    headers: {'Content-Type': 'application/json', 'X-Vod-Page': '1'},
    body: JSON.stringify(body),
  }));
}
