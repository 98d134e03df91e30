#include "link/condSignals.h"

#include <utility>

namespace {

std::function<void(pthread_cond_t*)> g_look;

}  // namespace

extern "C" {
int __real_pthread_cond_signal(pthread_cond_t* condition);
int __wrap_pthread_cond_signal(pthread_cond_t* condition);

int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
  if (g_look) g_look(condition);
  return __real_pthread_cond_signal(condition);
}
}

void onCondSignal(std::function<void(pthread_cond_t*)> look) {
  g_look = std::move(look);
}
