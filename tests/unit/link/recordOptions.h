// Socket options that the program under test sets: told in order. Linked with --wrap.
#pragma once

#include <vector>

struct SocketOption {
  int level;
  int name;
  int value;

  bool operator==(const SocketOption&) const = default;
};

/// What was set since the last call; options of the size of an int only.
std::vector<SocketOption> takeSocketOptions();
