// The host's world commands (load, plug, unplug, screens, failing calls) and the world's controls.
#pragma once

#include <string>
#include <vector>

namespace tolmahost {

// True for the first word of a world command: world, plug, unplug, screens, fail.
bool isWorldCommand(std::string const& word);

// Replaces the world with the file's. Throws a HostError with the one-line reason.
void loadWorldFile(std::string const& path);

// Runs one world command, `words` starting with its command word, and returns what it has to say
// (a "world: ..." note, the world's summary or its document). A malformed command is a usage
// HostError; one the world refuses, or any in a build without the world, a HostError.
std::string runWorldCommand(std::vector<std::string> const& words);

} // namespace tolmahost
