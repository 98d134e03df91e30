// What the board says of itself. Any thread may call.
#pragma once

#include <string>

class boardUtils {
 public:
  /// The board's name: BOARD_NAME from the environment when set, else the device tree's model, else the DMI
  /// board name, else empty.
  std::string getName() const;
};
