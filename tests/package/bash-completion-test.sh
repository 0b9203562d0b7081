#!/usr/bin/env bash
# The bash completion the packages ship: what TAB offers after each part of a command line.
# Exit 77 (a skip for ctest) without the bash-completion package, whose helpers it uses.
set -u
completion_file=$1
library=/usr/share/bash-completion/bash_completion
if [ ! -r "$library" ]; then
    echo "SKIP: $library not found (Debian: bash-completion)"
    exit 77
fi
# shellcheck source=/dev/null
source "$library"
# shellcheck source=/dev/null
source "$completion_file"

failed=0
# expect "<expected words, sorted>" word...: the line typed so far, the last word being completed.
expect() {
    local expected=$1
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMP_LINE="${COMP_WORDS[*]}"
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _pellix_installer
    local got
    got=$(printf "%s\n" "${COMPREPLY[@]}" | sort | paste -sd " " -)
    if [ "$got" != "$expected" ]; then
        echo "FAIL: '${COMP_WORDS[*]}' completes to '$got', expected '$expected'" >&2
        failed=1
    fi
}

expect "configure install restore-config status uninstall" pellix-installer ""
expect "configure" pellix-installer co
expect "restore-config" pellix-installer re
expect "--headless --help --user --version" pellix-installer -
expect "root" pellix-installer --user roo
expect "--headless --help --version" pellix-installer --user root -
expect "--dry-run --help --json --model --scan" pellix-installer install -
expect "daily relaxed standard vigilant" pellix-installer install --scan ""
expect "relaxed" pellix-installer install --scan re
expect "haiku opus sonnet" pellix-installer --headless --model ""
expect "--dry-run --help --json --model" pellix-installer install --scan daily -
expect "--dry-run --help --json --purge" pellix-installer uninstall -
expect "--dry-run --help" pellix-installer uninstall --purge --json -
expect "--help --json" pellix-installer status -
expect "--dry-run --help --json --model" pellix-installer configure --scan daily -
expect "--dry-run --help --json" pellix-installer restore-config --
expect "--help" pellix-installer install --dry-run --json --scan daily --model opus -
[ "$(complete -p pellix-installer)" = "complete -F _pellix_installer pellix-installer" ] ||
    { echo "FAIL: not registered for pellix-installer" >&2; failed=1; }
exit "$failed"
