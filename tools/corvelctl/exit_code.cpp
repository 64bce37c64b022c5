// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/exit_code.hpp"

namespace arvenhold::corvel::hub::ctl {

std::string describe_exit_codes() {
    return R"(Exit codes:
    0  done
    1  another failure
    2  wrong usage
    3  not found: provider, path, context
    4  token or authorization refused
    5  hub not reachable or lost
    6  timeout
    7  refused before sending: read-only, wrong type, out of range, broken rule
    8  the definition has changed meanwhile, or differs
    9  write not confirmed
   10  a quality is not good
   11  the registry rejected the definition or gave no verdict
  130  interrupted (SIGINT)
  143  terminated (SIGTERM))";
}

} // namespace arvenhold::corvel::hub::ctl
