// Calls of the bus, decoded: messages with arguments of any types, containers included, against any
// signature.
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <vector>

#include "fuzz/Input.h"
#include "otnbus/values.h"

namespace {

using otnbus::Message;
using otnbus::ReadResult;

constexpr std::string_view ourTypes =
    "biuqsxt";  ///< of OBvalue's alternatives, in the order of readable arguments

/// A bus that nobody is on: messages can be made for it, and are never sent.
sd_bus* bus() {
  static sd_bus* const instance = [] {
    int ends[2];
    sd_bus* made = nullptr;
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0 && sd_bus_new(&made) >= 0 &&
             sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0,
         "a bus can be had");
    return made;
  }();
  return instance;
}

Message newCall(const std::string& path) {
  sd_bus_message* message = nullptr;
  must(sd_bus_message_new_method_call(bus(), &message, "otn.Trelvik", path.c_str(), "otn.X", "call") >= 0,
       "a call can be made");
  return Message(message);
}

void seal(const Message& message) {
  must(sd_bus_message_seal(message.get(), 1, 0) >= 0, "a call can be sealed");
}

/// A text that D-Bus can carry, of a megabyte at most.
std::string takeText(Input& input) {
  std::string text(input.text());
  for (char& c : text)
    if (c < ' ' || c > '~') c = 'x';
  const uint8_t times = input.byte();
  if (times > 250) {
    std::string more;
    for (int i = 0; i < 1 << (times - 243); ++i) more += text;
    text = more;
  }
  return text;
}

OBvalue takeValue(Input& input, char type) {
  switch (type) {
    case 'b':
      return (input.byte() & 1) != 0;
    case 'i':
      return input.number<int32_t>();
    case 'u':
      return input.number<uint32_t>();
    case 'q':
      return input.number<uint16_t>();
    case 'x':
      return input.number<int64_t>();
    case 't':
      return input.number<uint64_t>();
    default:
      return takeText(input);
  }
}

size_t placeOf(char type) {
  constexpr std::string_view order = "biuqsxt";
  return order.find(type);
}

/// What was put in is read out, with the signature that it has and with no other.
void values(Input& input) {
  std::string signature;
  std::vector<OBvalue> wanted;
  for (int count = input.byte() % 24; count > 0 && !input.atEnd(); --count) {
    signature += ourTypes[input.byte() % ourTypes.size()];
    wanted.push_back(takeValue(input, signature.back()));
  }
  const size_t size = otnbus::textSize(wanted);
  if (size > 2 * otnbus::maxText) return;
  const Message message = newCall("/otn");
  must(otnbus::appendValues(message.get(), wanted), "every value can be carried");
  seal(message);
  const size_t kept = otnbus::keptSize(message.get(), SIZE_MAX);
  must(kept == strlen("/otn") + 8 * signature.size() + size, "what a call takes while it is kept",
       [&] { return std::to_string(kept); });
  std::vector<OBvalue> read;
  const ReadResult result = otnbus::readValues(message.get(), signature.c_str(), read);
  if (size > otnbus::maxText) {
    must(result == ReadResult::TooMuchText, "too much text is refused");
    must(otnbus::textSize(read) <= otnbus::maxText, "and not copied");
  } else {
    must(result == ReadResult::Read && read == wanted, "values come out as they went in");
  }
  // Another signature, which one more or one other type makes.
  std::string other = signature;
  if (const uint8_t how = input.byte(); how % 2 == 0 || other.empty()) {
    other += ourTypes[how / 2 % ourTypes.size()];
  } else {
    char& changed = other[how / 2 % other.size()];
    changed = ourTypes[(placeOf(changed) + 1) % ourTypes.size()];
  }
  sd_bus_message_rewind(message.get(), 1);
  read.clear();
  must(otnbus::readValues(message.get(), other.c_str(), read) == ReadResult::WrongSignature && read.empty(),
       "another signature reads nothing", [&] { return signature + " as " + other; });
}

class Builder {
 public:
  Builder(Input& input, const Message& message) : m_input(input), m_message(message.get()) {}

  /// Arguments of any type; returns what their texts take.
  size_t arguments() {
    size_t size = 0;
    for (int count = m_input.byte() % 6; count > 0 && !m_input.atEnd(); --count) size += argument(0);
    return size;
  }

 private:
  size_t argument(int depth) {
    const uint8_t kind = m_input.byte() % 14;
    switch (kind) {
      case 7:
        return container(SD_BUS_TYPE_VARIANT, "s", 1, depth);
      case 8:
        return container(SD_BUS_TYPE_VARIANT, "u", 1, depth);
      case 9:
        return container(SD_BUS_TYPE_ARRAY, "s", m_input.byte() % 20, depth);
      case 10:
        return container(SD_BUS_TYPE_ARRAY, "u", m_input.byte() % 20, depth);
      case 11:
        return container(SD_BUS_TYPE_STRUCT, "us", 1, depth);
      case 12:
        if (depth > 4) return 0;
        return nested(depth);
      case 13: {
        const uint8_t byte = m_input.byte();
        added(sd_bus_message_append_basic(m_message, SD_BUS_TYPE_BYTE, &byte));
        return 0;
      }
      default:
        return basic(ourTypes[kind]);
    }
  }

  size_t basic(char type) {
    const OBvalue value = takeValue(m_input, type);
    must(otnbus::appendValues(m_message, {&value, 1}), "every value can be carried");
    return otnbus::textSize({&value, 1});
  }

  size_t container(char type, const char* contents, int count, int) {
    size_t size = 0;
    added(sd_bus_message_open_container(m_message, type, contents));
    for (; count > 0; --count)
      for (const char* each = contents; *each != '\0'; ++each) size += basic(*each);
    added(sd_bus_message_close_container(m_message));
    return size;
  }

  /// A variant in a variant, to some depth.
  size_t nested(int depth) {
    added(sd_bus_message_open_container(m_message, SD_BUS_TYPE_VARIANT, "v"));
    const size_t size = (m_input.byte() & 1) != 0 && depth < 4
                            ? nested(depth + 1)
                            : container(SD_BUS_TYPE_VARIANT, "s", 1, depth);
    added(sd_bus_message_close_container(m_message));
    return size;
  }

  static void added(int result) { must(result >= 0, "an argument can be added"); }

  Input& m_input;
  sd_bus_message* m_message;
};

/// How much a message takes that may be of nobody's signature.
void sizes(Input& input) {
  const Message message = newCall((input.byte() & 1) != 0 ? "/otn/Trelvik" : "/");
  const size_t texts = Builder(input, message).arguments();
  seal(message);
  const size_t all = otnbus::keptSize(message.get(), SIZE_MAX);
  must(all >= texts + strlen(sd_bus_message_get_path(message.get())),
       "a message takes its texts and its path",
       [&] { return std::to_string(all) + " of texts of " + std::to_string(texts); });
  const size_t limit = input.number<uint32_t>() % (all + 2);
  const size_t counted = otnbus::keptSize(message.get(), limit);
  must(counted <= limit ? counted == all : all > limit,
       "a limit shortens the count of what is beyond it alone", [&] {
         return std::to_string(counted) + " of " + std::to_string(all) + ", limit " + std::to_string(limit);
       });
  const char* signature = sd_bus_message_get_signature(message.get(), 1);
  std::vector<OBvalue> read;
  const ReadResult result = otnbus::readValues(message.get(), signature, read);
  const bool basicOnly = std::string_view(signature).find_first_not_of(ourTypes) == std::string_view::npos;
  must(result != ReadResult::Read || basicOnly, "containers are of no interface's signature");
  must(!basicOnly || texts > otnbus::maxText || result == ReadResult::Read,
       "all else is read after it was measured");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  if (input.byte() % 2 == 0) {
    values(input);
  } else {
    sizes(input);
  }
  return 0;
}
