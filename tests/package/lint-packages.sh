#!/bin/sh
# Debian's own checks on the packages in PELLIX_PACKAGE_DIR: lintian with no error and no
# warning that is not overridden (each override carries its reason), desktop-file-validate and
# appstreamcli on the files the full package ships, and the manual page formats without a warning.
# Exit 77 (a skip for ctest) when there is nothing to check or no tool to check it with.
set -u
version=$1
folder=${PELLIX_PACKAGE_DIR:-}
if [ -z "$folder" ]; then
    echo "SKIP: PELLIX_PACKAGE_DIR is not set: build the packages with scripts/package, then run" \
        "ctest -L package with PELLIX_PACKAGE_DIR=dist"
    exit 77
fi
for tool in lintian desktop-file-validate appstreamcli dpkg-deb man; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "SKIP: $tool is not installed (scripts/setup installs it)"
        exit 77
    fi
done

failed=0
fail() {
    echo "FAIL: $*" >&2
    failed=1
}
full=$(ls "$folder"/pellix-installer_"$version"_*.deb 2>/dev/null | head -n 1)
cli=$(ls "$folder"/pellix-installer-cli_"$version"_*.deb 2>/dev/null | head -n 1)
[ -n "$full" ] || fail "no pellix-installer_${version}_*.deb in $folder"
[ -n "$cli" ] || fail "no pellix-installer-cli_${version}_*.deb in $folder"
[ "$failed" = 0 ] || exit 1

for deb in "$full" "$cli"; do
    echo "== lintian $(basename "$deb")"
    # Run as root here, lintian refuses; --allow-root only lifts that refusal.
    lintian --allow-root --fail-on error,warning --display-info "$deb" || fail "lintian $deb"
done

work=$(mktemp -d "${TMPDIR:-/tmp}/pellix-lint-XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
dpkg-deb -x "$full" "$work/full" || fail "dpkg-deb -x $full"

# The changelog made from CHANGELOG.md: Debian's parser reads it, and its newest entry is this
# version, dated as CHANGELOG.md dates it.
echo "== the Debian changelog"
zcat "$work/full/usr/share/doc/pellix-installer/changelog.gz" >"$work/changelog" ||
    fail "no changelog.gz in $full"
parsed=$(dpkg-parsechangelog -l "$work/changelog" -S Version 2>&1)
[ "$parsed" = "$version" ] || fail "the Debian changelog's newest version is '$parsed', not $version"
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
dated=$(sed -n 's/^## \([0-9.]*\) — \([0-9-]*\)$/\1 \2/p' "$source_dir/CHANGELOG.md" | head -n 1)
date=$(dpkg-parsechangelog -l "$work/changelog" -S Date)
[ "$dated" = "$version $(date -u -d "$date" +%F)" ] ||
    fail "CHANGELOG.md's newest entry is '$dated', the Debian changelog's $version is dated $date"
entries=$(dpkg-parsechangelog -l "$work/changelog" --format rfc822 --all | grep -c "^Version:")
headings=$(grep -c '^## [0-9]' "$source_dir/CHANGELOG.md")
[ "$entries" = "$headings" ] ||
    fail "the Debian changelog has $entries entries, CHANGELOG.md $headings"

echo "== desktop-file-validate"
desktop-file-validate "$work/full/usr/share/applications/ai.pellix.installer.desktop" ||
    fail "desktop-file-validate"
echo "== appstreamcli validate"
appstreamcli validate --no-net --pedantic \
    "$work/full/usr/share/metainfo/ai.pellix.installer.metainfo.xml" || fail "appstreamcli validate"
# The tree as installed: the metainfo's launchable desktop entry and its icon are found.
appstreamcli validate-tree --no-net --pedantic "$work/full" || fail "appstreamcli validate-tree"

echo "== man --warnings"
warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l \
    "$work/full/usr/share/man/man1/pellix-installer.1.gz" 2>&1 >"$work/manual.txt")
[ -z "$warnings" ] || fail "the manual page formats with warnings: $warnings"
for expected in "restore-config" "--purge" "OPENCLAW_HOME" "NO_COLOR" "EXIT STATUS"; do
    grep -q -- "$expected" "$work/manual.txt" || fail "the manual page does not mention $expected"
done
exit "$failed"
