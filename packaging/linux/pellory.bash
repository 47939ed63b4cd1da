# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash

# Completion of pellory's arguments. Keys, secrets and addresses are not offered: they are not
# known here, and must not come from anywhere else.
_pellory() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    # An option's argument is next whatever it looks like, so only the word before counts.
    case $previous in
    -u* | -f* | -t*)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    -b* | -k* | -s* | -r*) ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W '-u -f -b -k -s -r -t -e' -- "$current")
        ;;
    esac
}
complete -F _pellory pellory
