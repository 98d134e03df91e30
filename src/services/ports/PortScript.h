// The ISS command scripts that set a port up and release it. Pure functions; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

struct PortScriptInput {
  uint32_t portNr;  ///< front port, from 1
  uint32_t pwVlan;
  uint32_t acVlan;
  bool noAcPort;  ///< front port 24 carries no attachment-circuit VLAN
};

/// A script's text, in place: a request needs no memory for it.
class PortScript {
 public:
  /// Adds a line; one that does not fit is cut.
  __attribute__((format(printf, 2, 3))) void line(const char* format, ...);

  std::string_view text() const { return {m_text, m_size}; }

 private:
  char m_text[2048];  ///< room for a script of numbers at their longest
  size_t m_size = 0;
};

PortScript setUpScript(const PortScriptInput& input);
PortScript releaseScript(const PortScriptInput& input);
