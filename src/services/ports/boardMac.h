// The board's MAC address. Set by the main thread before any other thread starts; read by any.
#pragma once

#include <cstdint>

extern uint8_t macAddr[6];

/// Stores colon-separated hexadecimal bytes, the first six of them. A token that strtol cannot take gives a
/// NOTICE line and is stored all the same. Null stores nothing. A WARNING tells the address that is used when
/// the text is anything but six bytes.
void readMacAddress(const char* text);
