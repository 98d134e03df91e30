// The floor under a trace-level query: the least service that sd-bus makes, with the one method that asks.
//
// The bus is DBUS_SYSTEM_BUS_ADDRESS's. Says "ready" and runs until it is killed.
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

int getTraceLevel(sd_bus_message* call, void*, sd_bus_error*) {
  return sd_bus_reply_method_return(call, "i", 6);
}

constexpr sd_bus_vtable methods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("get_trace_level", "", "i", getTraceLevel, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int serve(sd_bus* bus) {
  for (;;) {
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0) return processed;
    if (processed > 0) continue;
    if (const int error = sd_bus_wait(bus, UINT64_MAX); error < 0) return error;
  }
}

}  // namespace

int main() {
  sd_bus* bus = nullptr;
  int error = sd_bus_open_system(&bus);
  if (error >= 0) {
    error = sd_bus_add_object_vtable(bus, nullptr, "/otn/Trelvik/ob_common", "otn.OBcommon_1_0", methods,
                                     nullptr);
  }
  if (error >= 0) error = sd_bus_request_name(bus, "otn.Trelvik", 0);
  if (error >= 0 && write(STDOUT_FILENO, "ready\n", 6) == 6) error = serve(bus);
  fprintf(stderr, "trelvik-echo: %s\n", strerror(-error));
  return 1;
}
