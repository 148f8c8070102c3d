#pragma once

#include "host/Session.h"

namespace trovix::host {

/// Reads commands from a terminal, with history, completion and help, until its end or `quit`.
void runPrompt(Session& session);
/// Reads commands from standard input, checking and running line by line; the session's exit status becomes 2 once
/// a line was refused.
void runStandardInput(Session& session);

}  // namespace trovix::host
