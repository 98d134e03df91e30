// The one object of a service that OPS's answers must find.
//
// Created and destroyed by the bus thread; any thread may ask for it while it is there.
#pragma once

#include "logAssertFailed.h"

/// `Service` derives from it, makes it its friend, and names in `instanceSource` and `instanceFunction` what
/// a failed assertion shows.
template <class Service>
class Singleton {
 public:
  /// Does nothing when there is one.
  template <class... Arguments>
  static void createInstance(Arguments... arguments) {
    if (m_pInstance == nullptr) m_pInstance = new Service(arguments...);
  }
  static void destroyInstance() {
    delete m_pInstance;
    m_pInstance = nullptr;
  }
  /// Reports a failed assertion when there is no instance, and returns the null object all the same. In a
  /// template GCC knows no narrower word for that than "undefined".
  __attribute__((no_sanitize("undefined"))) static Service& getInstance() {
    if (m_pInstance == nullptr) {
      logAssertFailed("m_pInstance", Service::instanceSource, Service::instanceFunction);
    }
    return *m_pInstance;
  }

 private:
  static inline Service* m_pInstance = nullptr;
};
