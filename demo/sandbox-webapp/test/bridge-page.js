// Runs the pages' bridge script against a stand-in for the native channel: bodies posted,
// answers and errors matched by id, forwarded bodies and native pushes told apart.
'use strict';
const fs = require('fs');
const path = require('path');
const vm = require('vm');
const assert = require('assert');

const posted = [];
const listeners = [];
const classes = new Set();
const window = {
  webkit: { messageHandlers: { tandriMessage: { postMessage: (b) => posted.push(JSON.parse(JSON.stringify(b))) } } },
  addEventListener: (type, fn) => { if (type === 'message') listeners.push(fn); },
};
window.window = window;
const context = vm.createContext({
  window, location: { search: '?auto=cancel' }, URLSearchParams, setTimeout, clearTimeout,
  document: { body: { classList: { add: (c) => classes.add(c), remove: (c) => classes.delete(c) } } },
});
vm.runInContext(fs.readFileSync(path.join(__dirname, '..', 'public', 'bridge.js'), 'utf8'), context);

(async () => {
  const forwarded = [];
  const pushes = [];
  const bridge = new window.SandboxBridge('window.tandri.button.receive', {
    onForward: (m) => forwarded.push(m), onPush: (r, d) => pushes.push([r, d]),
  });
  assert.strictEqual(typeof window.tandri.button.receive, 'function');

  const got = bridge.request('get', 'userInfo');
  const failed = bridge.request('set', 'x', { options: { secure: true } });
  const silent = bridge.request('configure', undefined, { messagePath: 'p' }, 50);
  assert.deepStrictEqual(posted, [
    { name: 'get', id: '1', data: 'userInfo' },
    { name: 'set', id: '2', options: { secure: true }, data: 'x' },
    { name: 'configure', id: '3', messagePath: 'p' },
  ]);
  // Answers arrive in any order; an error answer rejects with the exact text.
  window.tandri.button.receive({ id: '2', name: 'result', data: null, error: 'Data is not a valid dictionary' });
  window.tandri.button.receive({ id: '1', name: 'result', data: { username: 'a' }, error: null });
  assert.strictEqual(JSON.stringify(await got), '{"username":"a"}');
  await assert.rejects(failed, { message: 'Data is not a valid dictionary' });
  await assert.rejects(silent, { message: 'no answer' });

  // A second answer to the same id, and another page's forwarded body, go to onForward.
  window.tandri.button.receive({ id: '1', name: 'result', data: 1, error: null });
  window.tandri.button.receive({ name: 'forward', id: '9', data: { event: 'checkout.result' } });
  assert.deepStrictEqual(forwarded.map((m) => m.name), ['result', 'forward']);

  // Native pushes: receiver--JSON through window.postMessage.
  for (const fn of listeners) {
    fn({ data: 'pushGtmData--{"event":"abandonment"}' });
    fn({ data: 'tandri.sdklite.native-keyboard-open--{}' });
  }
  assert.strictEqual(JSON.stringify(pushes),
    '[["pushGtmData",{"event":"abandonment"}],["tandri.sdklite.native-keyboard-open",{}]]');
  assert.ok(classes.has('keyboard'));
  assert.strictEqual(await window.sandbox.claimAuto(), 'cancel');
  console.log('ok   page bridge script: requests, answers, errors, forwards, pushes');
})().catch((err) => { console.log('FAIL page bridge script: ' + err.message); process.exit(1); });
