#!/usr/bin/env bash
# The console's browser test and the checks of fald's OpenAPI document, against a fald of their
# own on a loopback port:
#   - the Playwright test of the console (Debian's chromium, headless);
#   - swagger-cli validate and spectral lint (oas ruleset; errors fail, warnings are listed);
#   - openapi-typescript: the port-forwarding operations' bodies and data are typed;
#   - dredd over the whole document against `fald --sim --no-auth` (at least 90% of the
#     transactions it runs must pass).
#   scripts/console-checks.sh [BUILD_DIR]     (default: build/, built when fald is missing)
set -euo pipefail
cd "$(dirname "$0")/.."
top=$PWD
build=$(realpath -m "${1:-build}")
bash scripts/deps.sh --console
if [ ! -x "$build/fald" ]; then
  cmake -S . -B "$build" -DFAL_BENCH=OFF >/dev/null
  cmake --build "$build" -j"$(nproc)" --target fald
fi
export FALD="$build/fald"
cd tests/browser
PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error
bin=$PWD/node_modules/.bin

work=$(mktemp -d)
fald_pid=""
cleanup() {
  if [ -n "$fald_pid" ]; then
    kill "$fald_pid" 2>/dev/null || true
    wait "$fald_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

echo "== browser test"
"$bin/playwright" test

echo "== fald --sim --no-auth"
"$FALD" --root "$work/root" --listen 127.0.0.1:0 --sim --no-auth >"$work/fald.out" 2>"$work/fald.err" &
fald_pid=$!
url=""
for _ in $(seq 100); do
  url=$(sed -n 's/.* on \(http:\/\/[^ ]*\)\/ .*/\1/p' "$work/fald.out")
  [ -n "$url" ] && break
  sleep 0.1
done
[ -n "$url" ] || { cat "$work/fald.err" >&2; echo "fald did not start" >&2; exit 1; }
node -e "fetch('$url/api/v1/openapi.json').then(r => r.text()).then(t => require('fs').writeFileSync('$work/openapi.json', t))"

echo "== swagger-cli validate"
"$bin/swagger-cli" validate "$work/openapi.json"

echo "== spectral lint (oas)"
printf 'extends: ["spectral:oas"]\n' >"$work/.spectral.yaml"
"$bin/spectral" lint --ruleset "$work/.spectral.yaml" --fail-severity error "$work/openapi.json"

echo "== openapi-typescript"
"$bin/openapi-typescript" "$work/openapi.json" -o "$work/api.d.ts" >/dev/null
node check-types.js "$work/api.d.ts"

echo "== dredd"
status=0
"$bin/dredd" "$work/openapi.json" "$url/api/v1" --hookfiles=dredd-hooks.js --reporter=xunit \
  --output "$work/dredd.xml" >"$work/dredd.log" 2>&1 || status=$?
sed 's/\x1b\[[0-9;]*m//g' "$work/dredd.log" | grep -E '^(fail|error): [A-Z]+ \(' || true
summary=$(sed 's/\x1b\[[0-9;]*m//g' "$work/dredd.log" | grep -E '^complete: [0-9]+ passing' || true)
echo "dredd: ${summary:-no summary (exit $status)}"
if grep -q "no example" "$work/dredd.log"; then
  echo "dredd: a parameter has no example" >&2
  exit 1
fi
node -e '
  const m = /(\d+) passing, (\d+) failing, (\d+) errors/.exec(process.argv[1]);
  if (!m) { console.error("dredd: no result"); process.exit(1); }
  const [pass, fail, errors] = m.slice(1).map(Number);
  const ratio = pass / (pass + fail + errors);
  console.log(`dredd: ${(100 * ratio).toFixed(1)}% of the transactions run pass`);
  process.exit(ratio >= 0.9 ? 0 : 1);
' "$summary"
cd "$top"
echo "console checks passed"
