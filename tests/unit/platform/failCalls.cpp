#include "failCalls.h"

#include <pthread.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cerrno>

namespace failing {

Call appendBasic;
Call callAsync;
Call createThread;
Call getEvents;
Call newMethodCall;
Call newMethodReturn;
Call newSignal;
Call process;
Call readFile;
Call send;
Call start;

}  // namespace failing

extern "C" {
int __real_sd_bus_message_append_basic(sd_bus_message* m, char type, const void* value);
int __wrap_sd_bus_message_append_basic(sd_bus_message* m, char type, const void* value);
int __wrap_sd_bus_message_append_basic(sd_bus_message* m, char type, const void* value) {
  if (const int error = failing::appendBasic.error(); error != 0) return error;
  return __real_sd_bus_message_append_basic(m, type, value);
}

int __real_sd_bus_call_async(sd_bus* bus, sd_bus_slot** slot, sd_bus_message* m,
                             sd_bus_message_handler_t callback, void* data, uint64_t limit);
int __wrap_sd_bus_call_async(sd_bus* bus, sd_bus_slot** slot, sd_bus_message* m,
                             sd_bus_message_handler_t callback, void* data, uint64_t limit);
int __wrap_sd_bus_call_async(sd_bus* bus, sd_bus_slot** slot, sd_bus_message* m,
                             sd_bus_message_handler_t callback, void* data, uint64_t limit) {
  if (const int error = failing::callAsync.error(); error != 0) return error;
  return __real_sd_bus_call_async(bus, slot, m, callback, data, limit);
}

int __real_sd_bus_get_events(sd_bus* bus);
int __wrap_sd_bus_get_events(sd_bus* bus);
int __wrap_sd_bus_get_events(sd_bus* bus) {
  if (const int error = failing::getEvents.error(); error != 0) return error;
  return __real_sd_bus_get_events(bus);
}

int __real_sd_bus_message_new_method_call(sd_bus* bus, sd_bus_message** m, const char* destination,
                                          const char* path, const char* interface, const char* member);
int __wrap_sd_bus_message_new_method_call(sd_bus* bus, sd_bus_message** m, const char* destination,
                                          const char* path, const char* interface, const char* member);
int __wrap_sd_bus_message_new_method_call(sd_bus* bus, sd_bus_message** m, const char* destination,
                                          const char* path, const char* interface, const char* member) {
  if (const int error = failing::newMethodCall.error(); error != 0) return error;
  return __real_sd_bus_message_new_method_call(bus, m, destination, path, interface, member);
}

int __real_sd_bus_message_new_method_return(sd_bus_message* call, sd_bus_message** m);
int __wrap_sd_bus_message_new_method_return(sd_bus_message* call, sd_bus_message** m);
int __wrap_sd_bus_message_new_method_return(sd_bus_message* call, sd_bus_message** m) {
  if (const int error = failing::newMethodReturn.error(); error != 0) return error;
  return __real_sd_bus_message_new_method_return(call, m);
}

int __real_sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m, const char* path, const char* interface,
                                     const char* member);
int __wrap_sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m, const char* path, const char* interface,
                                     const char* member);
int __wrap_sd_bus_message_new_signal(sd_bus* bus, sd_bus_message** m, const char* path, const char* interface,
                                     const char* member) {
  if (const int error = failing::newSignal.error(); error != 0) return error;
  return __real_sd_bus_message_new_signal(bus, m, path, interface, member);
}

int __real_sd_bus_process(sd_bus* bus, sd_bus_message** m);
int __wrap_sd_bus_process(sd_bus* bus, sd_bus_message** m);
int __wrap_sd_bus_process(sd_bus* bus, sd_bus_message** m) {
  if (const int error = failing::process.error(); error != 0) return error;
  return __real_sd_bus_process(bus, m);
}

int __real_sd_bus_send(sd_bus* bus, sd_bus_message* m, uint64_t* cookie);
int __wrap_sd_bus_send(sd_bus* bus, sd_bus_message* m, uint64_t* cookie);
int __wrap_sd_bus_send(sd_bus* bus, sd_bus_message* m, uint64_t* cookie) {
  if (const int error = failing::send.error(); error != 0) return error;
  return __real_sd_bus_send(bus, m, cookie);
}

int __real_sd_bus_start(sd_bus* bus);
int __wrap_sd_bus_start(sd_bus* bus);
int __wrap_sd_bus_start(sd_bus* bus) {
  if (const int error = failing::start.error(); error != 0) return error;
  return __real_sd_bus_start(bus);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument) {
  if (const int error = failing::createThread.error(); error != 0) return error;
  return __real_pthread_create(thread, attributes, entry, argument);
}

ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size) {
  const int error = failing::readFile.error();
  if (error == 0) return __real_read(fd, buffer, size);
  errno = error;
  return -1;
}
}
