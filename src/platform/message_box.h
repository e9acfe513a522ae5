// Modal messages of the file inputs.
//
// On Windows a message box without owner (MB_OK | MB_ICONEXCLAMATION); on
// Linux one line "caption: text" on stderr. A process-wide hook can take the
// messages instead, so tests see every text and caption without blocking.
#pragma once

#include <functional>
#include <string>

namespace platform {

void showMessage(const char* text, const char* caption);

using MessageHook = std::function<void(const std::string& text, const std::string& caption)>;

// Installs `hook` for the whole process (an empty one restores the real
// messages) and returns the one it replaces.
MessageHook setMessageHook(MessageHook hook);

}  // namespace platform
