# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash

# Completes corvelctl in bash.

_corvelctl() {
    local line=${COMP_LINE:0:COMP_POINT} word breaks='' front='' candidate character
    word=${line##*[[:space:]]}
    # Bash replaces only what follows the last of these.
    for character in '=' ':' '@'; do
        [[ $COMP_WORDBREAKS == *"$character"* ]] && breaks+=$character
    done
    if [[ -n $breaks && $word != [\'\"]* ]]; then
        front=${word%"${word##*[$breaks]}"}
    fi
    COMPREPLY=()
    while IFS=$'\t' read -r candidate _; do
        case $candidate in
        '<files>')
            compopt -o default
            continue
            ;;
        *=) compopt -o nospace ;;
        esac
        case $word in
        \'*) [[ $candidate == *\'* ]] && continue ;;
        \"*) [[ $candidate == *[\"\$\`\\!]* ]] && continue ;;
        *) printf -v candidate '%q' "${candidate#"$front"}" ;;
        esac
        COMPREPLY+=("$candidate")
    done < <(corvelctl complete -- "$line" 2>/dev/null)
}

complete -F _corvelctl corvelctl
