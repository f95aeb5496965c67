#!/usr/bin/env bash
# Runs the same batch of calls (every operation of every family, see batch_requests.py) through
# two builds of falctl, each on a fresh factory root, and prints where their answers differ.
# usage: scripts/batch_compare.sh OLD_FALCTL NEW_FALCTL [WORK_DIR [FAMILY ...]]
# Exit status 0 when every answer is the same, 1 otherwise.
set -euo pipefail
old=$(realpath "$1") new=$(realpath "$2")
here=$(cd "$(dirname "$0")/.." && pwd)
work=${3:-$(mktemp -d)}
shift $(($# < 3 ? $# : 3))
mkdir -p "$work"
python3 "$here/scripts/batch_requests.py" "$old" "$here/tests" "$@" > "$work/requests.jsonl"
# Both sides at once: a few operations sleep on purpose, so the run is mostly waiting.
for side in old new; do
    bin=${!side}
    rm -rf "$work/root-$side"
    (cd "$work" && "$bin" --root "$work/root-$side" batch < "$work/requests.jsonl" 2>/dev/null |
        # Live readings (CPU load, free memory) and the random WPS PIN differ from run to run.
        sed -E 's/"(percentage|free)":[0-9]+/"\1":0/g; s/"pin":"[0-9]+"/"pin":"0"/g' > "$work/answers-$side.jsonl") &
done
wait
requests=$(grep -vc '"control"' "$work/requests.jsonl" || true)
if cmp -s "$work/answers-old.jsonl" "$work/answers-new.jsonl"; then
    echo "same: $requests calls, $(wc -l < "$work/answers-old.jsonl") answers ($work)"
    exit 0
fi
echo "differ: $requests calls ($work)"
diff "$work/answers-old.jsonl" "$work/answers-new.jsonl" | head -40
exit 1
