// The files and the filter of the address library: nothing in them may crash it, and what it understands it
// can write and understand again.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "companions/kvipaddress/logic/findings.h"
#include "companions/kvipaddress/logic/interface_record.h"
#include "require.h"

namespace {

using kvwmi::fuzz::require;

void try_definition(std::string_view text, const kvipaddress::Filter& filter) {
  const auto definition = kvipaddress::parse_definition(text);
  if (!definition) return;
  std::vector<kvipaddress::InterfaceAddress> addresses;
  for (const kvipaddress::Entry& entry : definition->entries) {
    const std::string subnet = kvipaddress::to_text(entry.subnet);
    const auto again = kvipaddress::parse_subnet(subnet);
    require(again && kvipaddress::to_text(*again) == subnet, "a subnet is read as it was written");
    require(entry.subnet.contains(entry.subnet.base), "a subnet contains its base");
    // A machine whose interfaces are called as the patterns has everything that is defined.
    addresses.push_back({entry.interface, entry.subnet.base});
    if (addresses.size() == 64) break;
  }
  const auto findings = kvipaddress::find_differences(*definition, filter, addresses);
  require(findings.unexpected.empty(), "what is defined is not unexpected");
  require(definition->entries.size() > addresses.size() || findings.missing.empty(),
          "what is there is not missing");
}

void try_record(std::string_view text) {
  const auto record = kvipaddress::parse_record(text);
  if (!record) return;
  require(kvipaddress::parse_record(kvipaddress::to_record(*record)) == record,
          "a record is read as it was written");
  require(kvipaddress::compare(*record, *record) == 0, "a record does not differ from itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  // The filter, then after a NUL the file.
  const std::size_t end = input.find('\0');
  const std::string_view head = input.substr(0, end);
  const std::string_view text = end == std::string_view::npos ? input : input.substr(end + 1);
  const auto filter = kvipaddress::Filter::parse(head);
  if (filter) {
    require(!filter->picks(text) || !filter->empty(), "an empty filter picks nothing");
    try_definition(text, *filter);
  }
  try_record(text);
  if (const auto address = kvipaddress::parse_address(text)) {
    require(kvipaddress::parse_address(kvipaddress::to_text(*address)) == address,
            "an address is read as it was written");
  }
  return 0;
}
