// What the server is asked, and what its refusals mean.

const TRIES = 5;

// A refusal, in words that can be shown.
export class Problem extends Error {
  constructor(status, detail) {
    super(detail);
    this.status = status;
  }
}

export const UNREACHABLE = 'The server cannot be reached.';

async function readProblem(response) {
  const document = await response.json().catch(() => null);
  const problem = new Problem(response.status, document?.detail || document?.title ||
                                               `The server answered ${response.status}.`);
  problem.retryAfter = readRetryAfter(response.headers.get('Retry-After'));
  return problem;
}

// Milliseconds to wait: Retry-After is a number of seconds or a date.
export function readRetryAfter(header, now = Date.now()) {
  if (!header) return 2000;
  const milliseconds = /^\d+$/.test(header) ? Number(header) * 1000 : Date.parse(header) - now;
  return Math.min(Math.max(milliseconds || 0, 250), 30000);
}

export function pause(milliseconds, signal) {
  return new Promise((resolve, reject) => {
    signal?.throwIfAborted();
    const stop = () => {
      clearTimeout(timer);
      reject(signal.reason);
    };
    const timer = setTimeout(() => {
      signal?.removeEventListener('abort', stop);
      resolve();
    }, milliseconds);
    signal?.addEventListener('abort', stop, {once: true});
  });
}

async function ask(url, signal) {
  try {
    return await fetch(url, {signal});
  } catch (error) {
    if (signal?.aborted) throw error;
    throw new Problem(0, UNREACHABLE);
  }
}

// A busy server is asked again as often as is reasonable; any other refusal is thrown at once.
export async function askJson(url, signal) {
  for (let attempt = 1; ; ++attempt) {
    const response = await ask(url, signal);
    if (response.ok) return response.json();
    const problem = await readProblem(response);
    if (problem.status !== 503 || attempt === TRIES) throw problem;
    await pause(problem.retryAfter, signal);
  }
}

// Why an address gives no picture: an <img> only tells that it failed. Null if it gives one now.
export async function whyNoPicture(url, signal) {
  const response = await ask(url, signal);
  if (!response.ok) return readProblem(response);
  await response.body?.cancel();
  return null;
}

export async function listShares(signal) {
  const {shares} = await askJson('/album/', signal);
  return {total: shares.length, entries: shares.map((share) => ({...share, kind: 'folder'}))};
}

export const listFolder = (path, {sort, offset, limit}, signal) =>
  askJson(`/album${path}?sort=${sort}&offset=${offset}&limit=${limit}`, signal);

export const thumbUrl = (entry, parameters) => `${entry.href}?${new URLSearchParams(parameters)}`;
