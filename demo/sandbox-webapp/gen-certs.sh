#!/usr/bin/env bash
# Generates a throw-away certificate authority and one leaf certificate for the test hosts.
# Usage: gen-certs.sh DIR [DOMAIN] [CHECKOUT_HOST] [FOREIGN_HOST] [MERCHANT_HOST]
# Writes DIR/ca.pem (trust this one), DIR/ca.key, DIR/leaf.pem, DIR/leaf.key. Never commit DIR.
set -euo pipefail
dir=${1:?usage: gen-certs.sh DIR [DOMAIN] [CHECKOUT_HOST] [FOREIGN_HOST] [MERCHANT_HOST]}
domain=${2:-tandri.test}
checkout=${3:-checkout.$domain}
foreign=${4:-evil.test}
merchant=${5:-shop.merchant.test}
mkdir -p "$dir"
cd "$dir"
umask 077

openssl req -x509 -newkey rsa:2048 -nodes -days 30 -sha256 \
  -keyout ca.key -out ca.pem -subj "/CN=Sandbox Test CA (throw-away)" \
  -addext "basicConstraints=critical,CA:TRUE" \
  -addext "keyUsage=critical,keyCertSign,cRLSign" 2>/dev/null

openssl req -newkey rsa:2048 -nodes -sha256 -keyout leaf.key -out leaf.csr \
  -subj "/CN=$checkout" 2>/dev/null

cat > leaf.ext <<EXT
basicConstraints=CA:FALSE
keyUsage=critical,digitalSignature,keyEncipherment
extendedKeyUsage=serverAuth
subjectAltName=DNS:$domain,DNS:*.$domain,DNS:$checkout,DNS:sandbox.$checkout,DNS:*.$checkout,DNS:$foreign,DNS:*.$foreign,DNS:$merchant,IP:127.0.0.1
EXT
openssl x509 -req -in leaf.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 30 -sha256 \
  -extfile leaf.ext -out leaf.pem 2>/dev/null
rm -f leaf.csr leaf.ext ca.srl
chmod 644 ca.pem leaf.pem
echo "$dir"
