#include "supervision/query_text.h"

#include "frame/text.h"

namespace kvwmi::supervision {

std::string within(std::int32_t polling_period) {
  return "WITHIN " + std::to_string(polling_period) + " ";
}

std::string replaced(std::string_view text, std::string_view from, std::string_view to) {
  std::string result;
  std::size_t at = 0;
  for (std::size_t found = 0; (found = text.find(from, at)) != std::string_view::npos;
       at = found + from.size()) {
    result += text.substr(at, found - at);
    result += to;
  }
  result += text.substr(at);
  return result;
}

std::string doubled(std::string_view path) {
  return replaced(path, R"(\)", R"(\\)");
}

std::string first_characters(std::string_view text, std::size_t count) {
  std::string_view rest = text;
  for (; count > 0 && !rest.empty(); --count) (void)next_code_point(rest);
  return std::string(text.substr(0, text.size() - rest.size()));
}

}  // namespace kvwmi::supervision
