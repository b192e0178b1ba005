// The man pages of the tool and the completion scripts of shells, made from the arguments that the
// verbs declare.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace tool {

// Writes man1/viq.1, one man1/viq-VERB.1 for each verb, bash/viq and zsh/_viq. The descriptions
// must not have been wrapped yet.
void write_manual(const CLI::App &app, const std::string &folder);

} // namespace tool
