#!/usr/bin/env bash
# Makes a signing key, signs the shop's flags with it, and shows what the shop reads from the signed document and from a
# tampered copy, and what it may know and do about its customers. All files it makes are in a temporary folder, which it removes. The commands are taken from the
# folder KIV_BIN, or from the project's build.
set -euo pipefail
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

# Prints what a command says only when it fails.
quietly() {
    "$@" >"$work/output" 2>&1 || {
        cat "$work/output" >&2
        echo "run-demo.sh: failed: ${*##*/}" >&2
        exit 1
    }
}

quietly "$bin/kiv" config keygen --out "$work/signing"
quietly "$bin/kiv" config lint "$payload"
quietly "$bin/kiv" config sign "$payload" --key "$work/signing.key.pem" --out "$work/flags.json"
quietly "$bin/kiv" config verify "$work/flags.json" --certificate "$work/signing.certificate.txt"

# The tampered copy is still a well-formed document: only its signature tells.
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
printf '\nAll as it should be.\n'
