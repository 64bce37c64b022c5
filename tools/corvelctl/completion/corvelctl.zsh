#compdef corvelctl
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# Completes corvelctl in zsh.

_corvelctl() {
    local -a candidates shown open_candidates open_shown
    local candidate description files=
    while IFS=$'\t' read -r candidate description; do
        if [[ $candidate == '<files>' ]]; then
            files=1
        elif [[ $candidate == *= ]]; then
            open_candidates+=("$candidate")
            open_shown+=("$candidate${description:+  -- $description}")
        else
            candidates+=("$candidate")
            shown+=("$candidate${description:+  -- $description}")
        fi
    done < <(corvelctl complete -- "${(j: :)words[1,CURRENT-1]} $PREFIX" 2>/dev/null)
    compadd -l -d shown -a candidates
    compadd -l -S '' -d open_shown -a open_candidates
    [[ -n $files ]] && _files
}

# Run by the completion system, or read by the shell itself.
if [[ $funcstack[1] == _corvelctl ]]; then
    _corvelctl "$@"
else
    compdef _corvelctl corvelctl
fi
