// The page's files as they stand in timeline/page, made into texts when the program is built.
#pragma once

#include <string_view>

namespace ctl {

extern const std::string_view pageFrame;
extern const std::string_view pageStyle;
extern const std::string_view pageScript;

}  // namespace ctl
