// What the bus has to know of an interface class. Constant; written by the interface generator.
#pragma once

#include <span>

/// A member of an interface class; signatures in D-Bus's notation.
struct OBmember {
  enum class Kind {
    Method,        ///< the component serves it
    Query,         ///< the component calls it at the sender
    Signal,        ///< the component receives it
    Notification,  ///< the component sends it
  };

  Kind kind;
  const char* name;
  const char* in;   ///< a call's arguments, or the signal's
  const char* out;  ///< a method's results
};

struct OBinterfaceDescription {
  const char* interfaceClass;
  const char* description;
  const char* sender;  ///< component whose signals are received and whose methods are queried; may be empty
  const char* xml;     ///< the <interface> element, annotations included
  std::span<const OBmember> members;  ///< a member's place here is OBmessage::method
};
