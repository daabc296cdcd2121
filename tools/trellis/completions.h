#pragma once

// Completions of the command line for shells, made from its definition.

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

std::vector<std::string> completion_shells();

/// The script that teaches `shell`, one of those, the commands and options of `app`.
std::string completions(const CLI::App& app, const std::string& shell);

}  // namespace tool
