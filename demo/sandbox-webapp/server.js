#!/usr/bin/env node
// Local sandbox of the hosted checkout web application, for the demo and the real-engine tests.
//
// One process runs three listeners on 127.0.0.1:
//   - an HTTPS server for every test host (one certificate made by gen-certs.sh),
//   - a plain HTTP server with the same routes (for the plain-http refusal tests),
//   - an HTTP proxy: CONNECT to a test host goes to the HTTPS server, an absolute-form
//     http:// request for a test host is served as plain HTTP; anything else is refused,
//     so nothing leaves the machine.
// Once listening it prints one JSON line with the ports on stdout; it exits when stdin closes.
'use strict';

const fs = require('fs');
const path = require('path');
const http = require('http');
const https = require('https');
const net = require('net');

const USAGE = `usage: server.js --cert-dir DIR [options]
  --domain NAME          maker's two-label test domain        (default tandri.test)
  --checkout-host NAME   checkout host; sandbox host is sandbox.NAME (default checkout.<domain>)
  --foreign-host NAME    foreign origin for hostile frames     (default evil.test)
  --merchant-host NAME   a merchant's own host (hybrid page)   (default shop.merchant.test)
  --port N               HTTPS port, 0 for any free one        (default 0)
  --http-port N          plain HTTP port                       (default 0)
  --proxy-port N         proxy port                            (default 0)
  --auto MODE            default automatic mode of the pages: success, cancel, error, or
                         spinner-cancel (the checkout answers only after 60 s, so the loading
                         screen stays up until a person closes it) (default off)
  --button-status N      answer the button page with HTTP status N and no page (default 200)
  --log FILE             also append every recorded request to FILE as JSON lines
  --keep-running         do not exit when stdin closes`;

const AUTO_MODES = ['', 'success', 'cancel', 'error', 'spinner-cancel'];
// How long a checkout in the spinner-cancel mode keeps its caller waiting.
const SLOW_CHECKOUT_MS = 60000;

function parseArgs(argv) {
  const opts = {
    domain: 'tandri.test', checkoutHost: null, foreignHost: 'evil.test',
    merchantHost: 'shop.merchant.test', port: 0, httpPort: 0, proxyPort: 0,
    certDir: null, auto: '', log: null, keepRunning: false, buttonStatus: 200,
  };
  const names = {
    '--domain': 'domain', '--checkout-host': 'checkoutHost', '--foreign-host': 'foreignHost',
    '--merchant-host': 'merchantHost', '--port': 'port', '--http-port': 'httpPort',
    '--proxy-port': 'proxyPort', '--cert-dir': 'certDir', '--auto': 'auto', '--log': 'log',
    '--button-status': 'buttonStatus',
  };
  for (let i = 0; i < argv.length; i++) {
    let arg = argv[i];
    let value;
    const eq = arg.indexOf('=');
    if (eq > 0) { value = arg.slice(eq + 1); arg = arg.slice(0, eq); }
    if (arg === '--keep-running') { opts.keepRunning = true; continue; }
    if (arg === '--help' || arg === '-h') { console.log(USAGE); process.exit(0); }
    const key = names[arg];
    if (!key) throw new Error(`unknown option ${arg}`);
    if (value === undefined) {
      if (i + 1 >= argv.length) throw new Error(`${arg} needs a value`);
      value = argv[++i];
    }
    opts[key] = /(port|Status)$/.test(key) ? Number(value) : value;
  }
  if (!opts.certDir) throw new Error('--cert-dir is required');
  if (opts.domain.split('.').length !== 2) throw new Error('--domain must have two labels');
  if (!opts.checkoutHost) opts.checkoutHost = `checkout.${opts.domain}`;
  if (!AUTO_MODES.includes(opts.auto)) throw new Error('bad --auto');
  if (!Number.isInteger(opts.buttonStatus) || opts.buttonStatus < 200 || opts.buttonStatus > 599) {
    throw new Error('bad --button-status');
  }
  for (const p of ['port', 'httpPort', 'proxyPort']) {
    if (!Number.isInteger(opts[p]) || opts[p] < 0 || opts[p] > 65535) throw new Error(`bad ${p}`);
  }
  return opts;
}

// ---------------------------------------------------------------------------------------------
// Request record

class RequestLog {
  constructor(file) {
    this.entries = [];
    this.seq = 0;
    this.file = file;
  }
  add(entry) {
    entry.seq = ++this.seq;
    this.entries.push(entry);
    if (this.file) fs.appendFileSync(this.file, JSON.stringify(entry) + '\n');
  }
  clear() { this.entries = []; }
}

function readBody(req) {
  return new Promise((resolve, reject) => {
    const chunks = [];
    req.on('data', (c) => chunks.push(c));
    req.on('end', () => resolve(Buffer.concat(chunks)));
    req.on('error', reject);
  });
}

// ---------------------------------------------------------------------------------------------
// The application

function hostOf(req) {
  return String(req.headers.host || '').replace(/:\d+$/, '').toLowerCase();
}

function isServedHost(opts, host) {
  const h = host.toLowerCase();
  const under = (d) => h === d || h.endsWith('.' + d);
  return under(opts.domain) || under(opts.foreignHost) || h === opts.merchantHost;
}

function escapeForScript(text) {
  return text.replace(/</g, '\\u003c').replace(/\u2028/g, '\\u2028').replace(/\u2029/g, '\\u2029');
}

function makeApp(opts, log) {
  const publicDir = path.join(__dirname, 'public');
  const types = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript; charset=utf-8',
    '.css': 'text/css; charset=utf-8' };
  const pages = {
    '/': 'index.html',
    '/checkout-widget/mobile-button': 'button.html',
    '/checkout': 'checkout.html',
    '/merchant': 'merchant.html',
    '/hostile/frames': 'hostile-frames.html',
    '/hostile/frame': 'hostile-frame.html',
    '/hostile/malformed': 'hostile-malformed.html',
  };

  function send(res, status, type, body, extra) {
    res.writeHead(status, Object.assign({ 'Content-Type': type, 'Cache-Control': 'no-store' },
      extra || {}));
    res.end(body);
  }

  function page(file, scheme, host, request) {
    const config = {
      domain: opts.domain, checkoutHost: opts.checkoutHost, foreignHost: opts.foreignHost,
      merchantHost: opts.merchantHost, auto: opts.auto, scheme, host, request,
    };
    const html = fs.readFileSync(path.join(publicDir, file), 'utf8');
    const tag = `<script>window.SANDBOX = ${escapeForScript(JSON.stringify(config))};</script>`;
    return html.replace('<!--SANDBOX-CONFIG-->', () => tag);
  }

  let autoClaimed = false;

  return async function app(req, res, scheme) {
    const body = await readBody(req);
    const url = new URL(req.url, `${scheme}://${req.headers.host || 'localhost'}`);
    const host = hostOf(req);
    const pathname = url.pathname.replace(/\/+$/, '') || '/';

    if (pathname === '/__requests') {
      if (req.method === 'DELETE') { log.clear(); return send(res, 204, 'text/plain', ''); }
      return send(res, 200, 'application/json', JSON.stringify(log.entries, null, 1),
        { 'Access-Control-Allow-Origin': '*' });
    }

    const entry = {
      time: new Date().toISOString(), scheme, host, method: req.method, path: req.url,
      headers: [],
      body: body.toString('utf8'),
    };
    if (!Buffer.from(entry.body, 'utf8').equals(body)) entry.bodyBase64 = body.toString('base64');
    for (let i = 0; i + 1 < req.rawHeaders.length; i += 2) {
      entry.headers.push([req.rawHeaders[i], req.rawHeaders[i + 1]]);
    }
    log.add(entry);

    if (pathname === '/__report') {
      // Frames (also opaque-origin ones) report what the bridge answered them.
      return send(res, 204, 'text/plain', '', { 'Access-Control-Allow-Origin': '*' });
    }
    if (pathname === '/__auto') {
      // The server's default automatic mode starts one checkout per process (a re-armed button
      // would otherwise start the next one by itself); DELETE re-arms it.
      if (req.method === 'DELETE') { autoClaimed = false; return send(res, 204, 'text/plain', ''); }
      if (!opts.auto || autoClaimed) return send(res, 409, 'application/json', '{"auto":""}');
      autoClaimed = true;
      return send(res, 200, 'application/json', JSON.stringify({ auto: opts.auto }));
    }
    if (pathname === '/__echo') {
      return send(res, 200, 'application/json', JSON.stringify(entry));
    }
    if (pathname.startsWith('/static/')) {
      const name = path.basename(pathname);
      const file = path.join(publicDir, name);
      if (!fs.existsSync(file)) return send(res, 404, 'text/plain', 'not found\n');
      return send(res, 200, types[path.extname(name)] || 'application/octet-stream',
        fs.readFileSync(file));
    }
    if (pathname === '/favicon.ico') return send(res, 204, 'image/x-icon', '');

    const file = pages[pathname];
    if (!file) return send(res, 404, 'text/plain; charset=utf-8', `not found: ${pathname}\n`);
    if (pathname === '/checkout') {
      if (req.method !== 'GET' && req.method !== 'POST') {
        return send(res, 405, 'text/plain', 'method not allowed\n', { Allow: 'GET, POST' });
      }
      if (url.searchParams.get('auto') === 'spinner-cancel') {
        // A slow checkout: the loading screen stays until a person closes it.
        await new Promise((resolve) => {
          const timer = setTimeout(resolve, SLOW_CHECKOUT_MS);
          res.once('close', () => { clearTimeout(timer); resolve(); });
        });
        if (res.destroyed) return undefined;
      }
      const request = { method: req.method, query: url.search, body: entry.body };
      try { request.json = JSON.parse(entry.body); } catch (e) { request.json = null; }
      return send(res, 200, types['.html'], page(file, scheme, host, request));
    }
    if (pathname === '/checkout-widget/mobile-button' && opts.buttonStatus !== 200) {
      return send(res, opts.buttonStatus, 'text/plain; charset=utf-8', 'button page unavailable\n');
    }
    if (req.method !== 'GET' && req.method !== 'HEAD') {
      return send(res, 405, 'text/plain', 'method not allowed\n', { Allow: 'GET' });
    }
    return send(res, 200, types['.html'], page(file, scheme, host, null));
  };
}

// ---------------------------------------------------------------------------------------------
// Listeners

function listen(server, port) {
  return new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', () => resolve(server.address().port));
  });
}

function guard(app, scheme) {
  return (req, res) => {
    app(req, res, scheme).catch((err) => {
      if (!res.headersSent) res.writeHead(500, { 'Content-Type': 'text/plain' });
      res.end(`internal error: ${err.message}\n`);
    });
  };
}

function makeProxy(opts, app, httpsPortRef) {
  const plain = guard(app, 'http');
  const proxy = http.createServer((req, res) => {
    // Absolute-form request (http://host/path) from a client that uses us as its proxy.
    let target;
    try { target = new URL(req.url); } catch (e) { target = null; }
    if (!target || target.protocol !== 'http:' || !isServedHost(opts, target.hostname)) {
      res.writeHead(403, { 'Content-Type': 'text/plain' });
      return res.end('sandbox proxy: host not served\n');
    }
    req.url = target.pathname + target.search;
    req.headers.host = target.host;
    plain(req, res);
  });
  proxy.on('connect', (req, clientSocket, head) => {
    const [host, port] = String(req.url).split(':');
    if (!isServedHost(opts, host || '') || (port && port !== '443')) {
      clientSocket.end('HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n');
      return;
    }
    const upstream = net.connect(httpsPortRef.port, '127.0.0.1', () => {
      // A tunnel relays each write as it comes: Nagle's algorithm here would hold a request's
      // body back until the server acknowledged its headers (up to 40 ms on loopback).
      upstream.setNoDelay(true);
      clientSocket.setNoDelay(true);
      clientSocket.write('HTTP/1.1 200 Connection Established\r\n\r\n');
      if (head && head.length) upstream.write(head);
      upstream.pipe(clientSocket);
      clientSocket.pipe(upstream);
    });
    const close = () => { upstream.destroy(); clientSocket.destroy(); };
    upstream.on('error', close);
    clientSocket.on('error', close);
  });
  return proxy;
}

async function main() {
  let opts;
  try {
    opts = parseArgs(process.argv.slice(2));
  } catch (err) {
    process.stderr.write(`${err.message}\n${USAGE}\n`);
    process.exit(2);
  }
  const log = new RequestLog(opts.log);
  const app = makeApp(opts, log);
  const tls = {
    key: fs.readFileSync(path.join(opts.certDir, 'leaf.key')),
    cert: fs.readFileSync(path.join(opts.certDir, 'leaf.pem')),
  };
  const httpsServer = https.createServer(tls, guard(app, 'https'));
  const httpServer = http.createServer(guard(app, 'http'));
  const portRef = { port: 0 };
  const proxy = makeProxy(opts, app, portRef);

  portRef.port = await listen(httpsServer, opts.port);
  const httpPort = await listen(httpServer, opts.httpPort);
  const proxyPort = await listen(proxy, opts.proxyPort);
  process.stdout.write(JSON.stringify({
    proxy: `http://127.0.0.1:${proxyPort}`, https: portRef.port, http: httpPort,
    domain: opts.domain, checkoutHost: opts.checkoutHost,
    sandboxHost: `sandbox.${opts.checkoutHost}`, foreignHost: opts.foreignHost,
    merchantHost: opts.merchantHost,
  }) + '\n');

  if (!opts.keepRunning) {
    process.stdin.on('end', () => process.exit(0));
    process.stdin.on('close', () => process.exit(0));
    process.stdin.resume();
  }
}

main().catch((err) => {
  process.stderr.write(`sandbox server: ${err.stack || err}\n`);
  process.exit(1);
});
