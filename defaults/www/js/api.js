// The gateway's REST API as the console uses it: JSON in, {"http", "json"} out. The session is
// the fald_session cookie the login sets, so every call sends credentials.

export const API = '/api/v1';

export async function call(method, path, body) {
  const init = { method, credentials: 'same-origin', headers: { Accept: 'application/json' } };
  if (method !== 'GET' && method !== 'HEAD') {
    init.headers['Content-Type'] = 'application/json';
    init.body = body === undefined || body === null ? '' : typeof body === 'string' ? body : JSON.stringify(body);
  }
  let res;
  try {
    res = await fetch(API + path, init);
  } catch (err) {
    return { http: 0, json: { error: `no answer: ${err.message}` } };
  }
  const text = await res.text();
  let json = null;
  try {
    json = text ? JSON.parse(text) : null;
  } catch {
    json = { error: `not JSON: ${text.slice(0, 200)}` };
  }
  return { http: res.status, json };
}

// A path template ("/wifi/{interfaceId}/ssid") filled with encoded values.
export function fillPath(template, values) {
  return template.replace(/\{([^}]+)\}/g, (_, name) => encodeURIComponent(values[name] ?? ''));
}

export function queryString(values) {
  const q = new URLSearchParams();
  for (const [name, value] of Object.entries(values)) if (value !== '') q.append(name, value);
  const s = q.toString();
  return s ? `?${s}` : '';
}
