#!/usr/bin/env bash
# Smoke test of the sandbox checkout web application, without a browser: certificates, TLS
# through the proxy, every route, refusals, the request record, and exit on closed stdin.
set -uo pipefail

here=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
failures=0
server_pid=
cleanup() {
  exec 3>&- 2>/dev/null || true
  if [ -n "$server_pid" ] && kill -0 "$server_pid" 2>/dev/null; then kill "$server_pid"; fi
  rm -rf "$tmp"
}
trap cleanup EXIT

pass() { echo "ok   $*"; }
fail() { echo "FAIL $*"; failures=$((failures + 1)); }
check() { # check DESCRIPTION EXPECTED ACTUAL
  if [ "$2" == "$3" ]; then pass "$1"; else fail "$1: expected '$2', got '$3'"; fi
}

"$here/gen-certs.sh" "$tmp/certs" >/dev/null || { echo "FAIL certificate generation"; exit 1; }

# Bad configuration is refused before anything listens.
node "$here/server.js" --cert-dir "$tmp/certs" --domain a.b.test </dev/null >/dev/null 2>&1
check "three-label domain refused" 2 $?
node "$here/server.js" --cert-dir "$tmp/certs" --bogus </dev/null >/dev/null 2>&1
check "unknown option refused" 2 $?

# The server reads stdin from fd 3's pipe: closing fd 3 must stop it.
exec 3> >(exec node "$here/server.js" --cert-dir "$tmp/certs" >"$tmp/out" 2>"$tmp/err")
server_pid=$!
for _ in $(seq 150); do [ -s "$tmp/out" ] && break; sleep 0.1; done
line=$(head -n1 "$tmp/out")
[ -n "$line" ] || { echo "FAIL server did not start: $(cat "$tmp/err")"; exit 1; }
field() { node -e 'console.log(JSON.parse(process.argv[1])[process.argv[2]])' "$line" "$1"; }
proxy=$(field proxy)
http_port=$(field http)
case "$proxy" in http://127.0.0.1:[0-9]*) pass "ports line: $line" ;; *) fail "ports line: $line" ;; esac

c() { curl -s --max-time 10 --proxy "$proxy" --cacert "$tmp/certs/ca.pem" "$@"; }
status() { c -o /dev/null -w '%{http_code}' "$@"; }

# TLS for every test host, verified against the throw-away CA, through the proxy.
for host in checkout.tandri.test sandbox.checkout.tandri.test tandri.test evil.test shop.merchant.test; do
  check "TLS and index on $host" "200 0" "$(c -o /dev/null -w '%{http_code} %{ssl_verify_result}' "https://$host/")"
done

# Routes.
base=https://checkout.tandri.test
check "button page" 200 "$(status "$base/checkout-widget/mobile-button?color=standard")"
check "manual button page" 200 "$(status "$base/checkout-widget/mobile-button?manualCheckout")"
check "checkout page by GET" 200 "$(status "$base/checkout?session=get")"
check "checkout page refuses PUT" 405 "$(status -X PUT "$base/checkout")"
check "merchant page on the merchant host" 200 "$(status "https://shop.merchant.test/merchant")"
check "hostile frames page" 200 "$(status "$base/hostile/frames")"
check "malformed messages page" 200 "$(status "$base/hostile/malformed")"
check "hostile frame on the foreign origin" 200 "$(status "https://evil.test/hostile/frame?label=x")"
check "unknown path" 404 "$(status "$base/nope")"
check "bridge script type" "200 text/javascript; charset=utf-8" \
  "$(c -o /dev/null -w '%{http_code} %{content_type}' "$base/static/bridge.js")"
# Read the whole page first: grep -q stopping early would fail curl on a closed pipe.
button_page=$(c "$base/checkout-widget/mobile-button?color=neutral")
grep -q 'window.SANDBOX = {"domain":"tandri.test"' <<<"$button_page" \
  && pass "pages carry the server's configuration" || fail "configuration missing from the button page"

check "no automatic mode to claim without --auto" 409 "$(status -X POST "$base/__auto")"

# Plain HTTP: through the proxy (absolute-form request) and on the direct port.
check "plain http through the proxy" 200 "$(status "http://checkout.tandri.test/hostile/frame?label=plain")"
check "plain http port" 200 "$(curl -s -o /dev/null -w '%{http_code}' -H 'Host: checkout.tandri.test' \
  "http://127.0.0.1:$http_port/hostile/frames")"

# The proxy serves only the test hosts.
check "CONNECT to another host refused" 403 "$(c -o /dev/null -w '%{http_connect}' https://example.com/)"
check "plain request for another host refused" 403 "$(status http://example.com/)"

# A POST with custom headers and a body is recorded exactly, and the page sees the body.
body='{"session":"smoke-1","total":"24.99","note":"quote \" and é"}'
page=$(c -X POST "$base/checkout?session=smoke-1" -H 'client-key: 4c7a2e91-d05f8b36e2a7' \
  -H 'Content-Type: application/json' -H 'X-Sandbox-Session: smoke-1' -H 'X-Repeat: a' -H 'X-Repeat: b' \
  --data-binary "$body")
grep -q '"json":{"session":"smoke-1"' <<<"$page" && pass "checkout page embeds the posted body" \
  || fail "checkout page does not embed the posted body"
c "$base/__requests" >"$tmp/requests.json"
node - "$tmp/requests.json" "$body" <<'EOF'
const [file, body] = process.argv.slice(2);
const log = JSON.parse(require('fs').readFileSync(file, 'utf8'));
const e = log.find((r) => r.method === 'POST' && r.path === '/checkout?session=smoke-1');
const fail = (m) => { console.log('FAIL ' + m); process.exit(1); };
if (!e) fail('POST not recorded');
if (e.scheme !== 'https' || e.host !== 'checkout.tandri.test') fail(`recorded as ${e.scheme}://${e.host}`);
if (e.body !== body) fail(`body recorded as ${JSON.stringify(e.body)}`);
const want = [['client-key', '4c7a2e91-d05f8b36e2a7'], ['Content-Type', 'application/json'],
  ['X-Sandbox-Session', 'smoke-1'], ['X-Repeat', 'a'], ['X-Repeat', 'b']];
const got = e.headers.filter(([k]) => want.some(([w]) => w === k));
if (JSON.stringify(got) !== JSON.stringify(want)) fail(`headers recorded as ${JSON.stringify(e.headers)}`);
if (!e.headers.some(([k, v]) => k === 'Host' && v === 'checkout.tandri.test')) fail('Host header missing');
const plain = log.find((r) => r.path === '/hostile/frame?label=plain');
if (!plain || plain.scheme !== 'http') fail('plain-http request not recorded as http');
if (log.some((r) => r.path.startsWith('/__requests'))) fail('the record lists its own reads');
console.log('ok   POST recorded with exact method, headers in order, and body');
EOF
[ $? -eq 0 ] || failures=$((failures + 1))
check "record cleared" "204 []" "$(c -o /dev/null -w '%{http_code}' -X DELETE "$base/__requests") $(c "$base/__requests")"

node "$here/test/bridge-page.js" || failures=$((failures + 1))

# With --auto, the default mode is granted once per process until re-armed.
exec 4> >(exec node "$here/server.js" --cert-dir "$tmp/certs" --auto cancel >"$tmp/out2" 2>/dev/null)
for _ in $(seq 150); do [ -s "$tmp/out2" ] && break; sleep 0.1; done
proxy2=$(node -e 'console.log(JSON.parse(process.argv[1]).proxy)' "$(head -n1 "$tmp/out2")")
claim() { curl -s --max-time 10 --proxy "$proxy2" --cacert "$tmp/certs/ca.pem" -w ' %{http_code}' -X "$1" "$base/__auto"; }
check "automatic mode claimed once, then re-armed" '{"auto":"cancel"} 200|{"auto":""} 409| 204|{"auto":"cancel"} 200' \
  "$(claim POST)|$(claim POST)|$(claim DELETE)|$(claim POST)"
exec 4>&-

# --button-status fails the button page alone; spinner-cancel checkouts keep their caller waiting.
exec 5> >(exec node "$here/server.js" --cert-dir "$tmp/certs" --button-status 404 >"$tmp/out3" 2>/dev/null)
for _ in $(seq 150); do [ -s "$tmp/out3" ] && break; sleep 0.1; done
proxy3=$(node -e 'console.log(JSON.parse(process.argv[1]).proxy)' "$(head -n1 "$tmp/out3")")
c3() { curl -s --proxy "$proxy3" --cacert "$tmp/certs/ca.pem" -o /dev/null -w '%{http_code}' "$@"; }
check "button page answers the asked status, other pages do not" "404 200 200" \
  "$(c3 --max-time 10 "$base/checkout-widget/mobile-button?color=standard") $(c3 --max-time 10 "$base/checkout") $(c3 --max-time 10 "$base/checkout?auto=success")"
check "a spinner-cancel checkout is still unanswered after 2 s" "000" \
  "$(c3 --max-time 2 -X POST --data '{}' "$base/checkout?auto=spinner-cancel")"
exec 5>&-
node "$here/server.js" --cert-dir "$tmp/certs" --button-status 99 </dev/null >/dev/null 2>&1
check "bad button status refused" 2 $?

# Closing stdin stops the server.
exec 3>&-
for _ in $(seq 150); do kill -0 "$server_pid" 2>/dev/null || break; sleep 0.1; done
if kill -0 "$server_pid" 2>/dev/null; then fail "server still running after stdin closed"; else pass "server exits when stdin closes"; fi

if [ "$failures" -ne 0 ]; then echo "$failures check(s) failed"; exit 1; fi
echo "all checks passed"
