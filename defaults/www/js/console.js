// The console: log in, pick an operation from the OpenAPI document, send it, read the reply;
// edit the live documents and drive the simulator (fald --sim).
import { call, fillPath, queryString } from './api.js';

const $ = (id) => document.getElementById(id);
const el = (tag, props = {}, ...children) => {
  const node = Object.assign(document.createElement(tag), props);
  for (const child of children) node.append(child);
  return node;
};

const state = { doc: null, families: [], current: null, sim: false, snapshot: null };

// --- session --------------------------------------------------------------------------------

async function start() {
  $('logout').addEventListener('click', logout);
  $('login-form').addEventListener('submit', login);
  // A read that needs a session tells whether sessions are on.
  const probe = await call('GET', '/gateway/about');
  if (probe.http === 401) return showLogin();
  await enter(probe.http === 0 ? 'not reachable' : 'sessions off (--no-auth)', false);
}

function showLogin() {
  $('who').textContent = 'Not logged in';
  $('logout').hidden = true;
  $('console').hidden = true;
  $('login').hidden = false;
  $('login-form').elements.password.focus();
}

async function login(event) {
  event.preventDefault();
  const form = event.target;
  const reply = await call('POST', '/gateway/login', {
    userName: form.elements.userName.value,
    password: form.elements.password.value,
  });
  if (reply.http !== 200) {
    $('login-error').textContent = reply.json?.error || reply.json?.message || `HTTP ${reply.http}`;
    return;
  }
  form.elements.password.value = '';
  $('login-error').textContent = '';
  await enter(`Logged in as ${form.elements.userName.value} (${reply.json.data?.role ?? 'no role'})`, true);
}

async function logout() {
  await call('POST', '/gateway/logout', '');
  showLogin();
}

async function enter(who, session) {
  $('who').textContent = who;
  $('logout').hidden = !session;
  $('login').hidden = true;
  $('console').hidden = false;
  if (!state.doc) await loadDescription();
  await probeSimulator();
}

// --- operations -----------------------------------------------------------------------------

const METHODS = ['get', 'put', 'patch', 'post', 'delete'];

async function loadDescription() {
  const reply = await call('GET', '/openapi.json');
  if (reply.http !== 200) {
    $('request-doc').textContent = `Cannot read the API description (HTTP ${reply.http}).`;
    return;
  }
  state.doc = reply.json;
  const byTag = new Map((state.doc.tags || []).map((t) => [t.name, []]));
  for (const [path, item] of Object.entries(state.doc.paths)) {
    for (const method of METHODS) {
      const op = item[method];
      if (!op) continue;
      const tag = op.tags?.[0] ?? 'other';
      if (!byTag.has(tag)) byTag.set(tag, []);
      byTag.get(tag).push({ method: method.toUpperCase(), path, op, params: [...(item.parameters || []), ...(op.parameters || [])] });
    }
  }
  state.families = [...byTag.entries()].filter(([, ops]) => ops.length);
  renderFamilies();
  $('filter').addEventListener('input', renderFamilies);
  const names = state.families.map(([name]) => name).filter((n) => n !== 'sim');
  for (const select of [$('document-family'), $('fault-family')]) {
    select.replaceChildren(...names.map((n) => el('option', { value: n, textContent: n })));
  }
  $('fault-family').value = names.includes('service') ? 'service' : names[0];
}

function renderFamilies() {
  const filter = $('filter').value.trim().toLowerCase();
  const list = $('family-list');
  const open = new Set([...list.querySelectorAll('details[open]')].map((d) => d.dataset.family));
  list.replaceChildren();
  for (const [family, ops] of state.families) {
    const shown = ops.filter((o) => !filter || `${o.op.operationId} ${o.method} ${o.path}`.toLowerCase().includes(filter));
    if (!shown.length) continue;
    const details = el('details', { open: open.has(family) || !!filter });
    details.dataset.family = family;
    details.append(el('summary', {}, el('span', { textContent: family }), el('span', { className: 'count', textContent: ` ${shown.length}` })));
    const ul = el('ul');
    for (const o of shown) {
      const button = el('button', { type: 'button', className: 'op' },
        el('span', { className: `method ${o.method.toLowerCase()}`, textContent: o.method }),
        el('span', { className: 'path', textContent: o.path }));
      button.dataset.op = o.op.operationId;
      button.title = o.op.operationId;
      if (!Object.keys(o.op.responses || {}).some((code) => code.startsWith('2'))) {
        button.classList.add('unsupported');
        button.title += ' (not supported by this gateway)';
      }
      button.addEventListener('click', () => pick(o, button));
      ul.append(el('li', {}, button));
    }
    details.append(ul);
    list.append(details);
  }
}

function paramInput(p) {
  const value = p.example ?? p.schema?.example ?? '';
  const id = `param-${p.in}-${p.name}`;
  let input;
  if (p.schema?.enum) {
    input = el('select', { id, name: p.name });
    if (!p.required) input.append(el('option', { value: '', textContent: '(none)' }));
    for (const v of p.schema.enum) input.append(el('option', { value: String(v), textContent: String(v) }));
    input.value = String(value);
  } else if (p.schema?.type === 'boolean') {
    input = el('select', { id, name: p.name });
    for (const v of ['', 'true', 'false']) input.append(el('option', { value: v, textContent: v || '(none)' }));
  } else {
    input = el('input', { id, name: p.name, value: String(value), required: !!p.required });
    if (p.schema?.type === 'integer') input.inputMode = 'numeric';
  }
  input.dataset.in = p.in;
  const label = el('label', { htmlFor: id }, el('span', { textContent: p.name + (p.required ? ' *' : '') }));
  return el('div', { className: 'param' }, label, input);
}

function pick(o, button) {
  state.current = o;
  for (const b of document.querySelectorAll('.op[aria-current]')) b.removeAttribute('aria-current');
  button?.setAttribute('aria-current', 'true');
  $('request-title').textContent = `${o.op.operationId}`;
  $('request-doc').textContent = `${o.op.summary ?? ''} ${o.op.description ?? ''}`.trim();
  const path = o.params.filter((p) => p.in === 'path');
  const query = o.params.filter((p) => p.in === 'query');
  $('path-params').replaceChildren(el('legend', { textContent: 'Path parameters' }), ...path.map(paramInput));
  $('query-params').replaceChildren(el('legend', { textContent: 'Query parameters' }), ...query.map(paramInput));
  $('path-params').hidden = !path.length;
  $('query-params').hidden = !query.length;
  const media = o.op.requestBody?.content?.['application/json'];
  $('body-label').hidden = !media;
  $('body').value = media ? JSON.stringify(media.example ?? {}, null, 2) : '';
  $('request-form').hidden = false;
  updateRequestLine();
  $('request').focus();
}

function requestTarget() {
  const o = state.current;
  const values = {};
  const query = {};
  for (const input of $('request-form').querySelectorAll('[data-in]')) {
    if (input.dataset.in === 'path') values[input.name] = input.value;
    else query[input.name] = input.value;
  }
  return fillPath(o.path, values) + queryString(query);
}

function updateRequestLine() {
  if (state.current) $('request-line').textContent = `${state.current.method} /api/v1${requestTarget()}`;
}

async function send(event) {
  event.preventDefault();
  const o = state.current;
  if (!o) return;
  let body;
  if (!$('body-label').hidden) {
    try {
      body = JSON.stringify(JSON.parse($('body').value || 'null'));
    } catch (err) {
      showReply({ http: 0, json: { error: `the body is not JSON: ${err.message}` } });
      return;
    }
  }
  $('send').disabled = true;
  const reply = await call(o.method, requestTarget(), body ?? '');
  $('send').disabled = false;
  showReply(reply);
  if (reply.http === 401) showLogin();
}

function showReply({ http, json }) {
  const failed = http === 0 || http >= 400;
  $('reply').classList.toggle('failed', failed);
  $('reply-http').textContent = http ? String(http) : 'no answer';
  $('reply-status').textContent = json && 'status' in json ? String(json.status) : '–';
  $('reply-message').textContent = json?.message ?? json?.error ?? '–';
  $('reply-data').textContent = json && 'data' in json ? JSON.stringify(json.data, null, 2) : JSON.stringify(json, null, 2);
}

// --- documents and simulator ----------------------------------------------------------------

async function probeSimulator() {
  const reply = await call('GET', '/sim/snapshot');
  state.sim = reply.http === 200;
  const why = reply.http === 403 ? 'The simulator controls are for admin sessions.'
    : 'Start fald with --sim to browse the documents and drive the simulator.';
  for (const id of ['documents-form', 'simulator-controls']) $(id).hidden = !state.sim;
  $('documents-note').textContent = state.sim ? 'The live document of a family; Save replaces it.' : why;
  $('simulator-note').textContent = state.sim ? 'Snapshots, factory reset and injected lock or save failures.' : why;
  if (state.sim) showDocument(reply.json.data);
}

function showDocument(snapshot) {
  const family = $('document-family').value;
  $('document').value = JSON.stringify(snapshot?.[family] ?? null, null, 2);
  $('document-error').textContent = '';
}

async function loadDocument() {
  const reply = await call('GET', '/sim/snapshot');
  if (reply.http === 200) showDocument(reply.json.data);
  else $('document-error').textContent = reply.json?.error ?? `HTTP ${reply.http}`;
}

async function saveDocument(event) {
  event.preventDefault();
  let document;
  try {
    document = JSON.parse($('document').value);
  } catch (err) {
    $('document-error').textContent = `not JSON: ${err.message}`;
    return;
  }
  const reply = await call('PUT', '/sim/snapshot', { [$('document-family').value]: document });
  $('document-error').textContent = reply.http === 200 ? '' : reply.json?.error ?? `HTTP ${reply.http}`;
  simResult(reply, `${$('document-family').value} document saved`);
}

function simResult(reply, done) {
  $('sim-result').textContent = reply.http === 200 ? done : `failed: ${reply.json?.error ?? `HTTP ${reply.http}`}`;
  $('sim-result').classList.toggle('error', reply.http !== 200);
}

async function reset() {
  const reply = await call('POST', '/sim/reset', {});
  simResult(reply, 'factory defaults restored');
  await loadDocument();
}

async function keepSnapshot() {
  const reply = await call('GET', '/sim/snapshot');
  if (reply.http === 200) {
    state.snapshot = reply.json.data;
    $('sim-restore').disabled = false;
  }
  simResult(reply, 'snapshot kept (in this page)');
}

async function restoreSnapshot() {
  const reply = await call('PUT', '/sim/snapshot', state.snapshot);
  simResult(reply, 'snapshot restored');
  await loadDocument();
}

async function injectFaults(event) {
  event.preventDefault();
  const family = $('fault-family').value;
  const failLock = Number($('fault-lock').value) || 0;
  const failSave = Number($('fault-save').value) || 0;
  const reply = await call('POST', '/sim/faults', { family, failLock, failSave });
  simResult(reply, `${family}: the next ${failLock} lock(s) and ${failSave} save(s) fail`);
}

$('request-form').addEventListener('submit', send);
$('request-form').addEventListener('input', updateRequestLine);
$('body').addEventListener('keydown', (e) => {
  if (e.key === 'Enter' && (e.ctrlKey || e.metaKey)) $('request-form').requestSubmit();
});
$('document-family').addEventListener('change', loadDocument);
$('document-load').addEventListener('click', loadDocument);
$('documents-form').addEventListener('submit', saveDocument);
$('sim-reset').addEventListener('click', reset);
$('sim-keep').addEventListener('click', keepSnapshot);
$('sim-restore').addEventListener('click', restoreSnapshot);
$('faults-form').addEventListener('submit', injectFaults);
start();
