#pragma once

#include "base/Secret_Text.h"

#include <string>

/// The password of a user: the first line that can be read from the descriptor, or, if that is -1, asked for
/// without echo on the terminal that controls the process, also when standard input and output go elsewhere.
/// Throws Ctl_Failure if there is no terminal, no answer or nothing to read.
Secret_Text Ctl_ObtainPassword(const std::string& user, int descriptor);
