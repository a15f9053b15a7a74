#include "companions/kvipaddress/logic/checks.h"

namespace kvipaddress {

std::int32_t check_ip_address(System& system, Reports& reports, const std::string& definition_file,
                              const std::string& filter, Reports::Clock::time_point now) {
  const std::optional<Filter> chosen = Filter::parse(filter);
  const FileContent file = system.read_file(definition_file, Definition::kMaxSize);
  if (!chosen || file.state != FileContent::State::read) return kNothing;
  const std::optional<Definition> definition = parse_definition(file.text);
  if (!definition) return kNothing;
  const auto addresses = system.addresses();
  if (!addresses) return kNothing;

  const Findings findings = find_differences(*definition, *chosen, *addresses);
  const std::string watch = definition_file + '\n' + filter;
  return definition->repeat ? reports.repeated(watch, findings, now) : reports.news(watch, findings, now);
}

std::int32_t check_network_interfaces(System& system, const std::string& record_file) {
  const FileContent file = system.read_file(record_file, kMaxRecordSize);
  if (file.state == FileContent::State::unusable) return kNothing;
  const auto now = system.active_interfaces();
  if (!now) return kNothing;

  // An empty file holds nothing that could be lost: callers may have made it to reserve the name.
  const bool first = file.state == FileContent::State::missing || file.text.empty();
  const auto before = first ? now : parse_record(file.text);
  if (!before) return kNothing;
  if (!first && *before == *now) return kNothing;
  // A change that cannot be recorded is reported when it can be: then it is reported once.
  return system.replace_file(record_file, to_record(*now)) ? compare(*before, *now) : kNothing;
}

}  // namespace kvipaddress
