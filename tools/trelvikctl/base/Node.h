// What a command shows, as a tree of named values: the one form from which text and JSON are written. Plain
// data and pure functions.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ctl {

/// How a value is marked on a terminal with colours.
enum class Mark : uint8_t { none, good, bad, note };

class Node {
 public:
  enum class Kind : uint8_t { none, boolean, number, text, list, object };

  Node() = default;
  Node(bool value) : m_kind(Kind::boolean), m_text(value ? "true" : "false") {}  // NOLINT(*-explicit-*)
  template <std::integral T>
  Node(T value) : m_kind(Kind::number), m_text(std::to_string(value)) {}     // NOLINT(*-explicit-*)
  Node(std::string value) : m_kind(Kind::text), m_text(std::move(value)) {}  // NOLINT(*-explicit-*)
  Node(const char* value, Mark mark = Mark::none) : Node(std::string(value)) { m_mark = mark; }

  static Node list() { return Node(Kind::list); }
  static Node object() { return Node(Kind::object); }

  /// To an object; returns the object.
  Node& add(std::string name, Node value) {
    m_names.push_back(std::move(name));
    m_values.push_back(std::move(value));
    return *this;
  }
  /// To a list; returns the list.
  Node& add(Node value) {
    m_values.push_back(std::move(value));
    return *this;
  }

  Kind kind() const { return m_kind; }
  Mark mark() const { return m_mark; }
  bool empty() const { return m_values.empty(); }
  const std::string& text() const { return m_text; }
  const std::vector<std::string>& names() const { return m_names; }
  const std::vector<Node>& values() const { return m_values; }

 private:
  explicit Node(Kind kind) : m_kind(kind) {}

  Kind m_kind = Kind::none;
  Mark m_mark = Mark::none;
  std::string m_text;
  std::vector<std::string> m_names;
  std::vector<Node> m_values;
};

/// On one line, without a line end.
std::string toJson(const Node& node);

/// For people: an object as lines of name and value, a list of objects as a table. Ends in a line end.
std::string toText(const Node& node, bool colour);

/// Text of others as it may reach a terminal: what is not printable stands as \xHH.
std::string printable(const std::string& text);

/// The text in the colour of its mark.
std::string coloured(const std::string& text, Mark mark, bool colour);

}  // namespace ctl
