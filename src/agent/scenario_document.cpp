#include "agent/scenario_document.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "agent/table.h"
#include "agent/usage_error.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::json;

/// A scenario has six; far more would overflow the stack when they are taken apart.
constexpr std::size_t kMostLevels = 64;

[[noreturn]] void refuse(std::size_t line, const std::string& message) {
  throw UsageError(std::to_string(line) + ": " + message);
}

/// Hands the text to the parser and counts its lines, for the parser does not tell where a value stands.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* position, std::size_t* line) : position_(position), line_(line) {}
  reference operator*() const { return *position_; }
  CountingIterator& operator++() {
    // A line ends behind its line feed: the parser may have looked one character ahead.
    if (pending_) {
      ++*line_;
      pending_ = false;
    }
    pending_ = *position_ == '\n';
    ++position_;
    return *this;
  }
  CountingIterator operator++(int) {
    CountingIterator old = *this;
    ++*this;
    return old;
  }
  friend bool operator==(const CountingIterator& a, const CountingIterator& b) {
    return a.position_ == b.position_;
  }
  friend bool operator!=(const CountingIterator& a, const CountingIterator& b) { return !(a == b); }

 private:
  const char* position_;
  std::size_t* line_;
  bool pending_ = false;
};

class TreeBuilder final : public nlohmann::json_sax<Json> {
 public:
  /// `line` is where the parser is in a text of `length` bytes.
  TreeBuilder(const std::size_t& line, std::size_t length) : line_(line), length_(length) {}

  bool null() override { return add(JsonNode::Kind::null, "null"); }
  bool boolean(bool value) override { return add(JsonNode::Kind::flag, value ? "true" : "false"); }
  bool number_integer(number_integer_t value) override {
    return add(JsonNode::Kind::number, std::to_string(value));
  }
  bool number_unsigned(number_unsigned_t value) override {
    return add(JsonNode::Kind::number, std::to_string(value));
  }
  bool number_float(number_float_t, const string_t& text) override {
    return add(JsonNode::Kind::number, text);
  }
  bool string(string_t& value) override {
    // The system's names end at it, so what is shown would not be what is used.
    if (value.find('\0') != std::string::npos) refuse(line_, "a text must not hold \\u0000");
    return add(JsonNode::Kind::text, value);
  }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return open(JsonNode::Kind::object); }
  bool start_array(std::size_t) override { return open(JsonNode::Kind::list); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(string_t& name) override {
    if (open_.back()->find(name) != nullptr) refuse(line_, "\"" + name + "\" stands there twice");
    JsonNode& member = open_.back()->members.emplace_back();
    member.name = name;
    member.line = line_;
    return true;
  }
  bool parse_error(std::size_t position, const std::string& token, const Json::exception&) override {
    // What is missed at the end has the position after it.
    refuse(line_,
           position > length_ ? "the document ends too early" : "no JSON at \"" + printable(token) + "\"");
  }

  JsonNode root;

 private:
  /// Where the next value belongs.
  JsonNode& next() {
    if (open_.empty()) return root;
    JsonNode& parent = *open_.back();
    if (parent.kind == JsonNode::Kind::object) return parent.members.back();
    return parent.elements.emplace_back();
  }
  JsonNode& place(JsonNode::Kind kind) {
    JsonNode& node = next();
    node.kind = kind;
    if (node.line == 0) node.line = line_;
    return node;
  }
  bool add(JsonNode::Kind kind, std::string text) {
    place(kind).text = std::move(text);
    return true;
  }
  bool open(JsonNode::Kind kind) {
    if (open_.size() == kMostLevels) refuse(line_, "nested too deeply");
    open_.push_back(&place(kind));
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  const std::size_t& line_;
  std::size_t length_;
  std::vector<JsonNode*> open_;  // a parent does not move while a child is open
};

}  // namespace

const JsonNode* JsonNode::find(std::string_view wanted) const {
  const auto found = std::find_if(members.begin(), members.end(),
                                  [&](const JsonNode& member) { return member.name == wanted; });
  return found == members.end() ? nullptr : &*found;
}

JsonNode read_json(std::string_view text) {
  std::size_t line = 1;
  TreeBuilder builder(line, text.size());
  Json::sax_parse(CountingIterator(text.data(), &line), CountingIterator(text.data() + text.size(), &line),
                  &builder, Json::input_format_t::json, true, true);
  return std::move(builder.root);
}

}  // namespace kvwmi::agent
