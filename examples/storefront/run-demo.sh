#!/usr/bin/env bash
# Shows the shop of this folder, part by part:
#
#   1-2   it reads its flags from a document that was signed with a new key
#   3     it refuses a copy of the document in which one byte was changed
#   4-10  what it tells about its customers, and how overrides, freezing and callbacks that throw work
#   11    it fetches its document from a service, and hears of a change within a second
#
# With --stay the service and the shop of part 11 run on until Ctrl-C. All files are made in a temporary folder, which
# is removed at the end. The commands are those in the folder KIV_BIN; by default, those that ./run build has built.
set -euo pipefail
stay=
if [[ ${1:-} == --stay ]]; then
    stay=stay
fi
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
payload=$here/storefront.flags.json
bin=${KIV_BIN:-$here/../../build/release/bin}
for command in kiv storefront; do
    if [[ ! -x $bin/$command ]]; then
        echo "run-demo.sh: there is no $bin/$command; build it with ./run build, or set KIV_BIN" >&2
        exit 2
    fi
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Runs a command, and prints its output only when it fails.
quietly() {
    "$@" >"$work/output" 2>&1 || {
        cat "$work/output" >&2
        echo "run-demo.sh: failed: ${*##*/}" >&2
        exit 1
    }
}

quietly "$bin/kiv" config keygen --out "$work/signing"
quietly "$bin/kiv" config lint "$payload"
quietly "$bin/kiv" config sign "$payload" --signing-key "$work/signing.key.pem" --out "$work/flags.json"
quietly "$bin/kiv" config verify "$work/flags.json" --certificate "$work/signing.certificate.txt"

# The tampered copy is still a well-formed document: only the signature shows that it was changed.
sed 's/, 0\.15,/, 0.95,/' "$work/flags.json" >"$work/tampered.json"
changed=$( (cmp -l "$work/flags.json" "$work/tampered.json" || true) | wc -l)
if ((changed != 1)); then
    echo "run-demo.sh: the tampered copy differs in $changed bytes, not in one" >&2
    exit 1
fi

printf '\nexamples/storefront/storefront.flags.json was checked and signed with a key made for this run.\n'
"$bin/storefront" genuine "$work/flags.json" "$work/signing.certificate.txt" "$work/library"
"$bin/storefront" tampered "$work/tampered.json" "$work/signing.certificate.txt" "$work/library-of-tampered"
"$bin/storefront" customers "$work/flags.json" "$work/signing.certificate.txt" "$work/library"
"$bin/storefront" next-start "$work/flags.json" "$work/signing.certificate.txt" "$work/library"

# Part 11: a service on a free port of loopback, for a folder with the shop's payload.
key=5e0bd1f2c3a4b5d6e7f80912
served=$work/flags/$key.flags.json
data=$work/service
mkdir "$work/flags"
cp "$payload" "$served"
"$bin/kiv" serve "$work/flags" --data "$data" --port 0 --json --quiet >"$work/service.json" &
service=$!
trap 'kill "$service" 2>/dev/null || true; wait "$service" || true; rm -rf "$work"' EXIT
for ((i = 0; i < 300; ++i)); do
    [[ -s $work/service.json ]] && break
    sleep 0.1
done
url=$(sed -n 's/^{"url":"\([^"]*\)".*/\1/p' "$work/service.json")
certificate=$data/signing.certificate.txt
sed 's/, 0\.15, 0)/, 0.1, 0)/' "$payload" >"$work/older.json"
quietly "$bin/kiv" config sign "$work/older.json" --signing-key "$data/signing.key.pem" --date 2026-01-01T00:00:00.000Z --out "$work/shipped.json"

printf '\n11. The shop with its service: kiv serve at %s\n\n  First start, with an older document shipped in the application:\n\n' "$url"
"$bin/storefront" live "$url" "$work/shipped.json" "$certificate" "$work/live"

: >"$work/live.txt"
printf '\n  Second start, and then somebody edits the file: ifThen(isInTargetGroup("loyal"), 0.25, 0)\n\n'
"$bin/storefront" live "$url" "$work/shipped.json" "$certificate" "$work/live" "$served" $stay >>"$work/live.txt" &
shop=$!
for ((i = 0; i < 600; ++i)); do
    grep -q Listening "$work/live.txt" && break
    sleep 0.05
done
sleep 0.3 # until the shop's push stream is open
sed -i 's/, 0\.15, 0)/, 0.25, 0)/' "$served"
if [[ -n $stay ]]; then
    printf '  Edit %s, and see what the shop reads. %s counts its reads. Ctrl-C ends both.\n\n' "$served" "$url"
    trap 'kill -INT "$shop" 2>/dev/null || true' INT
    tail -n +1 -f --pid="$shop" "$work/live.txt" || true
else
    wait "$shop" || { cat "$work/live.txt"; exit 1; }
    cat "$work/live.txt"
fi
printf '\nEverything was as expected.\n'
