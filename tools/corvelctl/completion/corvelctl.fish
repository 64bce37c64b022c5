# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# Completes corvelctl in fish.

function __corvelctl_complete
    for line in (corvelctl complete -- (commandline -cp | string collect --allow-empty) 2>/dev/null)
        if test "$line" = '<files>'
            __fish_complete_path (commandline -ct)
        else
            printf '%s\n' "$line"
        end
    end
end

complete -c corvelctl -f -a '(__corvelctl_complete)'
