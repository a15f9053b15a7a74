#include "wmi/wql/pattern.h"

#include <algorithm>

#include "frame/text.h"

namespace kvwmi::wql {

Pattern::Pattern(std::string_view pattern) {
  while (!pattern.empty()) {
    const char32_t letter = next_code_point(pattern);
    if (letter == '%') {
      const bool repeated = !elements_.empty() && elements_.back().kind == Element::Kind::run;
      if (!repeated) elements_.push_back({Element::Kind::run});
      continue;
    }
    ++least_bytes_;
    if (letter == '_') {
      elements_.push_back({Element::Kind::any});
    } else if (letter == '[') {
      add_set(pattern);
    } else {
      elements_.push_back({Element::Kind::letter, fold_case(letter)});
    }
  }
}

void Pattern::add_set(std::string_view& rest) {
  Element element{Element::Kind::set};
  element.first = ranges_.size();
  if (!rest.empty() && rest.front() == '^') {
    element.kind = Element::Kind::excluded_set;
    rest.remove_prefix(1);
  }
  while (!rest.empty() && rest.front() != ']') {
    const char32_t first = next_code_point(rest);
    char32_t last = first;
    // A hyphen at either end of the set is a member like any other.
    if (rest.size() >= 2 && rest[0] == '-' && rest[1] != ']') {
      rest.remove_prefix(1);
      last = next_code_point(rest);
    }
    if (last < first) throw std::invalid_argument("a range in brackets runs backwards");
    ranges_.push_back({first, last});
  }
  if (rest.empty())
    throw std::invalid_argument("a bracket is not closed; the character itself is written [[]");
  rest.remove_prefix(1);
  element.last = ranges_.size();
  if (element.first == element.last) throw std::invalid_argument("the brackets hold no character");
  elements_.push_back(element);
}

bool Pattern::accepts(const Element& element, char32_t letter) const {
  switch (element.kind) {
    case Element::Kind::letter:
      return fold_case(letter) == element.letter;
    case Element::Kind::any:
      return true;
    case Element::Kind::run:
      return false;
    case Element::Kind::set:
    case Element::Kind::excluded_set:
      break;
  }
  const auto begin = ranges_.begin() + static_cast<std::ptrdiff_t>(element.first);
  const auto end = ranges_.begin() + static_cast<std::ptrdiff_t>(element.last);
  const char32_t other = other_case(letter);
  const bool member =
      std::any_of(begin, end, [&](const Range& range) { return range.has(letter) || range.has(other); });
  return member == (element.kind == Element::Kind::set);
}

bool Pattern::matches(std::string_view text) const {
  if (text.size() < least_bytes_) return false;
  // Only the last run met can need more characters: whatever an earlier one could take, this one can take
  // too.
  std::size_t element = 0;
  std::optional<std::size_t> run;
  std::string_view after_run;  // where the text goes on behind what the run has taken
  while (!text.empty()) {
    if (element < elements_.size() && elements_[element].kind == Element::Kind::run) {
      run = element++;
      if (element == elements_.size()) return true;
      after_run = text;
      continue;
    }
    if (element < elements_.size()) {
      std::string_view next = text;
      if (accepts(elements_[element], next_code_point(next))) {
        text = next;
        ++element;
        continue;
      }
    }
    if (!run) return false;
    static_cast<void>(next_code_point(after_run));
    text = after_run;
    element = *run + 1;
  }
  while (element < elements_.size() && elements_[element].kind == Element::Kind::run) ++element;
  return element == elements_.size();
}

std::optional<std::string> Pattern::plain_text() const {
  std::string text;
  for (const Element& element : elements_) {
    if (element.kind != Element::Kind::letter) return std::nullopt;
    append_code_point(text, element.letter);
  }
  return text;
}

}  // namespace kvwmi::wql
