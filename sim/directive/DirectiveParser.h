// Reads directives, the lines of a scenario. Pure; any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/Problem.h"
#include "directive/Directive.h"

namespace sim {

/// Reads one line that is no comment and not empty. `column`, if given, is where a problem stands, from 1 on.
Problem parseDirective(std::string_view line, Directive& result, size_t* column = nullptr);

/// True for an empty line and one that holds only a comment.
bool isBlank(std::string_view line);

}  // namespace sim
