// Numbers in the texts that callers send.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Takes the decimal number at the front of `text` off it. As a stream reads: blanks and one sign may stand
/// before the digits, and what follows them stays. Nothing, when there is no number or an int32_t cannot hold
/// it. Allocates nothing; any thread.
std::optional<int32_t> takeNumber(std::string_view& text);
