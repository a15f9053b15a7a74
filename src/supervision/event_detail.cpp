#include "supervision/event_detail.h"

#include <chrono>
#include <string_view>

#include "frame/conversion.h"
#include "frame/runtime_error.h"
#include "supervision/supervision_type.h"
#include "supervision/value_watches.h"

namespace kvwmi::supervision {
namespace {

bool is(std::int32_t type, SupervisionType expected) {
  return type == static_cast<std::int32_t>(expected);
}

std::string labelled(std::string_view label, std::string_view text) {
  std::string line(label);
  line += ": ";
  line += text;
  return line;
}

/// Null joins a text as nothing.
std::string joined_text(const wmi::Value& value) {
  return value.is_null() ? "" : to_text(value);
}

std::shared_ptr<wmi::Object> object_of(const wmi::Value& value) {
  const auto* object = value.get_if<std::shared_ptr<wmi::Object>>();
  if (!object || !*object) throw runtime_error(RuntimeError::object_variable_not_set);
  return *object;
}

std::shared_ptr<wmi::Object> target_instance(wmi::Object& event) {
  if (event.class_name() != "__AggregateEvent") return object_of(event.get("TargetInstance"));
  return object_of(object_of(event.get("Representative"))->get("TargetInstance"));
}

/// Reads pieces of a WMI date-time text: yyyymmddHHMMSS and more.
class DateTimeText {
 public:
  explicit DateTimeText(std::string text) : text_(std::move(text)) {}
  [[nodiscard]] std::int32_t number(std::size_t position, std::size_t length) const {
    return to_long(wmi::Value(position < text_.size() ? text_.substr(position, length) : ""));
  }

 private:
  std::string text_;
};

std::chrono::local_days date_of(const DateTimeText& text) {
  using namespace std::chrono;
  const auto month_begin = year(text.number(0, 4)) / January + months(text.number(4, 2) - 1);
  return local_days(month_begin / 1) + days(text.number(6, 2) - 1);
}

std::chrono::seconds time_of(const DateTimeText& text) {
  using namespace std::chrono;
  return hours(text.number(8, 2)) + minutes(text.number(10, 2)) + seconds(text.number(12, 2));
}

std::string first_element(const wmi::Value& value) {
  const auto* elements = value.get_if<wmi::Value::Array>();
  if (!elements) throw runtime_error(RuntimeError::type_mismatch);
  if (elements->empty()) throw runtime_error(RuntimeError::subscript_out_of_range);
  return joined_text(elements->front());
}

std::string_view name_of(std::int32_t code) {
  return code == unit::kPercent ? "%" : code == unit::kKilobytes ? "Kilobytes" : "Bytes";
}

std::string value_detail(const ValueWatch& watch, wmi::Object& target) {
  return labelled("Value", joined_text(target.get(watch.property))).append(" ").append(name_of(watch.unit));
}

std::string event_log_detail(SystemInfo& system, wmi::Object& entry) {
  constexpr std::string_view kLineBreak = "\r\n";
  const auto property_line = [&](std::string_view label, std::string_view property) {
    return labelled(label, joined_text(entry.get(property))).append(kLineBreak);
  };
  std::string detail = property_line("Log", "Logfile");
  detail += property_line("Type", "Type");
  detail += property_line("Source", "SourceName");
  detail += property_line("Event ID", "EventCode");
  // The clock reading as it was delivered, not converted to local time.
  const DateTimeText generated(to_text(entry.get("TimeGenerated")));
  detail += labelled("Date", system.date_text(date_of(generated))).append(kLineBreak);
  detail += labelled("Time", system.time_text(time_of(generated))).append(kLineBreak);
  // Both are read for every entry: one without insertion strings fails also when it has a message.
  const std::string message = joined_text(entry.get("Message"));
  const std::string insertion_string = first_element(entry.get("InsertionStrings"));
  return detail + labelled("Description", message.empty() ? insertion_string : message);
}

/// The path in quotes that ends an object path, its doubled backslashes made single.
std::string quoted_path(const std::string& object_path) {
  // After the last "=", also where that one belongs to the file's name.
  std::string path = object_path.substr(object_path.find_last_of('=') + 1);
  for (std::size_t at = 0; (at = path.find(R"(\\)", at)) != std::string::npos; ++at) path.erase(at, 1);
  return path;
}

/// What follows the last backslash, less its last character: the closing quote.
std::string file_name_of(const std::string& quoted) {
  std::string name = quoted.substr(quoted.find_last_of('\\') + 1);
  if (name.empty()) throw runtime_error(RuntimeError::invalid_procedure_call);
  name.pop_back();
  return name;
}

std::optional<std::string> file_in_directory_detail(FileSystem& files, wmi::Object& content,
                                                    const wmi::NamedValues& context) {
  const std::string path = quoted_path(to_text(content.get("PartComponent")));
  const std::string pattern = to_text(wmi::named_value(context, context::kFileName));
  if (!files.matches(file_name_of(path), pattern)) return std::nullopt;
  return labelled("File", path);
}

}  // namespace

std::optional<std::string> event_detail(Ground& ground, std::int32_t type, wmi::Object& event,
                                        const wmi::NamedValues& context) {
  // Events of the registry have no target instance.
  if (is(type, SupervisionType::registry_key) || is(type, SupervisionType::registry_value) ||
      is(type, SupervisionType::registry_tree)) {
    return "";
  }
  const auto target = target_instance(event);
  if (is(type, SupervisionType::event_log)) return event_log_detail(ground.system_info(), *target);
  if (is(type, SupervisionType::file_in_directory)) {
    return file_in_directory_detail(ground.file_system(), *target, context);
  }
  for (const ValueWatch& watch : kValueWatches) {
    if (is(type, watch.type)) return value_detail(watch, *target);
  }
  return "";
}

}  // namespace kvwmi::supervision
