// One line of text for what left for the client, and for what did not. Pure functions; any thread.
#pragma once

#include <string>
#include <string_view>

#include "record/Observer.h"

namespace sim {

/// "RECORD (HOW, N times, MORE)", without the parts that there are none of; "N bytes that are no record" for
/// such.
std::string sentText(const Sent& sent, std::string_view more = {});

/// Puts texts behind each other with ", " between those that are not empty.
void appendHow(std::string& how, std::string_view part);

}  // namespace sim
