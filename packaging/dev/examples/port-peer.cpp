// A peer of the daemon: sets up a front port and shows the daemon's reply. Its user must be root or in the
// group otn.
//
//   port-peer PORT
//
// The interface is that of /usr/share/dbus-1/interfaces/otn.OBsetPortParams_1_0.xml.
#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t setUp = 1;
constexpr uint32_t npuPort = 6;
constexpr uint32_t megabits = 1000;
// A request is answered once ISS has carried it out.
constexpr uint64_t limitMicroseconds = 30'000'000;

int fail(const char* what, const char* why) {
  fprintf(stderr, "port-peer: %s: %s\n", what, why);
  return EXIT_FAILURE;
}

int setUpPort(sd_bus* bus, uint32_t port) {
  sd_bus_message* call = nullptr;
  sd_bus_message* reply = nullptr;
  sd_bus_error error{};
  int result = sd_bus_message_new_method_call(bus, &call, "otn.Trelvik", "/otn/Trelvik/IssSetLanWanAsync",
                                              "otn.OBsetPortParams_1_0", "setPortParams");
  if (result >= 0) {
    // action, ifType, portNr, ifSpeed, bConfigure, acVlan (0: none), and two that the daemon passes back as
    // they are
    result = sd_bus_message_append(call, "uuuubuuu", setUp, npuPort, port, megabits, 1, 0U, 0U, 0U);
  }
  if (result >= 0) {
    result = sd_bus_call(bus, call, limitMicroseconds, &error, &reply);
  }
  uint32_t action = 0;
  uint32_t type = 0;
  uint32_t answered = 0;
  if (result >= 0) {
    result = sd_bus_message_read(reply, "uuu", &action, &type, &answered);
  }
  const int status = result >= 0                   ? EXIT_SUCCESS
                     : sd_bus_error_is_set(&error) ? fail(error.name, error.message)
                                                   : fail("no answer from the daemon", strerror(-result));
  if (status == EXIT_SUCCESS) {
    printf("port %u is set up\n", answered);
  }
  sd_bus_error_free(&error);
  sd_bus_message_unref(reply);
  sd_bus_message_unref(call);
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  const long port = count == 2 ? strtol(arguments[1], nullptr, 10) : 0;
  if (port < 1 || port > 24) {
    fprintf(stderr, "usage: port-peer PORT (1 to 24)\n");
    return 2;
  }
  sd_bus* bus = nullptr;
  const int result = sd_bus_open_system(&bus);
  if (result < 0) {
    return fail("no connection to the bus", strerror(-result));
  }
  const int status = setUpPort(bus, static_cast<uint32_t>(port));
  sd_bus_flush_close_unref(bus);
  return status;
}
