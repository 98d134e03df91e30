// The arguments in a log line's text. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ctl {

/// The pairs "name=value" and "name = value" of a text.
std::vector<std::pair<std::string, std::string>> argumentsIn(std::string_view text);

/// The values alone, up to the first text of the caller's: the same at the handler and at its worker.
std::string argumentKey(std::string_view text);

/// Adds the front ports that a text names: by number, in a bitmap, in a script's name or a field.
void addPorts(std::string_view text, std::vector<uint32_t>& ports);

}  // namespace ctl
