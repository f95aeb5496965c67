// Dredd hooks for the run against `fald --sim --no-auth`.
//
// Every transaction starts from the factory defaults, so that a delete run before a read does
// not change what the read answers. The 500 answers are provoked through the simulator: the next
// lock of the family's document fails. The 4xx answers need a request the description does not
// give (a session, a wrong body, a missing record), so they are skipped.
const hooks = require('hooks');

async function post(transaction, path, body) {
  const { protocol, host, port } = transaction;
  const res = await fetch(`${protocol}//${host}:${port}/api/v1/sim/${path}`, {
    method: 'POST',
    headers: { 'Content-Type': 'application/json' },
    body: JSON.stringify(body),
  });
  if (!res.ok) throw new Error(`sim/${path} answered ${res.status}`);
}

hooks.beforeEach((transaction, done) => {
  const expected = String(transaction.expected.statusCode);
  if (expected.startsWith('4')) {
    transaction.skip = true;
    done();
    return;
  }
  const segments = transaction.request.uri.split('?')[0].split('/');
  const family = segments.find((s) => s && s !== 'api' && s !== 'v1');
  post(transaction, 'reset', {})
    .then(() => (expected === '500' && family !== 'sim' ? post(transaction, 'faults', { family, failLock: 1 }) : null))
    .then(() => done())
    .catch(done);
});
