// Page side of the native message channel, shared by every sandbox page.
//
//   const bridge = new SandboxBridge('window.tandriButton.receive', { onForward, onPush });
//   bridge.request('get', 'userInfo').then((value) => ...);   // answered requests
//   bridge.post('forward', {...});                             // never answered
//
// Native code answers by evaluating PATH({"id","name":"result","data","error"}) and forwards
// another page's whole message object by evaluating PATH(body). Native pushes arrive as
// window.postMessage('receiver--JSON', '*').
'use strict';

(function () {
  function channel() {
    const w = window.webkit;
    return w && w.messageHandlers && w.messageHandlers.tandriMessage;
  }

  function defineFunction(dotted, fn) {
    const parts = dotted.replace(/^window\./, '').split('.');
    let obj = window;
    for (const p of parts.slice(0, -1)) {
      if (typeof obj[p] !== 'object' || obj[p] === null) obj[p] = {};
      obj = obj[p];
    }
    obj[parts[parts.length - 1]] = fn;
  }

  class SandboxBridge {
    constructor(path, handlers) {
      this.path = path;
      this.handlers = handlers || {};
      this.pending = new Map();
      this.nextId = 1;
      this.native = !!channel();
      this.receive = this.receive.bind(this);
      defineFunction(path, this.receive);
      window.addEventListener('message', (ev) => this.onWindowMessage(ev));
    }

    // Also answer responses evaluated at another path (a page opened as a window shares the
    // opener's channel, so its answers may be evaluated at the opener's path).
    alsoListenAt(dotted) { defineFunction(dotted, this.receive); }

    log(dir, text) {
      if (this.handlers.onLog) this.handlers.onLog(dir, text);
    }

    post(name, data, extra) {
      const body = Object.assign({ name, id: String(this.nextId++) }, extra || {});
      if (data !== undefined) body.data = data;
      this.log('→', JSON.stringify(body));
      const ch = channel();
      if (ch) ch.postMessage(body);
      return body.id;
    }

    // Resolves with the answer's data, rejects with Error(errorText) on an error answer, and
    // with Error('no answer') after timeoutMs (0: wait for ever).
    request(name, data, extra, timeoutMs) {
      return new Promise((resolve, reject) => {
        const id = this.post(name, data, extra);
        const entry = { resolve, reject, name };
        if (timeoutMs) {
          entry.timer = setTimeout(() => {
            this.pending.delete(id);
            reject(new Error('no answer'));
          }, timeoutMs);
        }
        this.pending.set(id, entry);
        if (!this.native && this.handlers.offline) {
          // Without a native host (a plain browser) the page answers itself, so it still works.
          setTimeout(() => {
            const answer = this.handlers.offline(name, data, extra);
            if (answer !== undefined) this.receive({ id, name: 'result', data: answer, error: null });
          }, 150);
        }
      });
    }

    receive(msg) {
      if (typeof msg === 'string') {
        try { msg = JSON.parse(msg); } catch (e) { return; }
      }
      if (!msg || typeof msg !== 'object') return;
      const entry = msg.name === 'result' ? this.pending.get(String(msg.id)) : undefined;
      if (entry) {
        this.log('←', JSON.stringify(msg));
        this.pending.delete(String(msg.id));
        clearTimeout(entry.timer);
        if (msg.error !== null && msg.error !== undefined) entry.reject(new Error(msg.error));
        else entry.resolve(msg.data);
        return;
      }
      this.log('⇐', JSON.stringify(msg));
      if (this.handlers.onForward) this.handlers.onForward(msg);
    }

    onWindowMessage(ev) {
      if (typeof ev.data !== 'string') {
        if (this.handlers.onWindowMessage) this.handlers.onWindowMessage(ev);
        return;
      }
      const cut = ev.data.indexOf('--');
      if (cut < 0) return;
      const receiver = ev.data.slice(0, cut);
      let data = null;
      try { data = JSON.parse(ev.data.slice(cut + 2)); } catch (e) { data = ev.data.slice(cut + 2); }
      this.log('⇠', `${receiver} ${JSON.stringify(data)}`);
      if (receiver === 'tandri.sdklite.native-keyboard-open') document.body.classList.add('keyboard');
      if (receiver === 'tandri.sdklite.native-keyboard-close') document.body.classList.remove('keyboard');
      if (this.handlers.onPush) this.handlers.onPush(receiver, data);
    }
  }

  // A small log panel at the bottom of a page.
  function attachLog(el) {
    return (dir, text) => {
      const line = document.createElement('div');
      line.textContent = `${dir} ${text}`;
      el.appendChild(line);
      el.scrollTop = el.scrollHeight;
    };
  }

  function query(name) {
    return new URLSearchParams(location.search).get(name);
  }

  // The automatic mode of a page: "?auto=MODE" in its URL always applies; the server's default
  // mode (--auto) is granted to one launcher page per server process.
  async function claimAuto() {
    const q = query('auto');
    if (q !== null) return q;
    if (!(window.SANDBOX && window.SANDBOX.auto)) return '';
    try {
      const res = await fetch('/__auto', { method: 'POST' });
      return res.ok ? (await res.json()).auto : '';
    } catch (e) {
      return '';
    }
  }

  window.SandboxBridge = SandboxBridge;
  window.sandbox = { attachLog, query, claimAuto, hasNative: () => !!channel() };
})();
