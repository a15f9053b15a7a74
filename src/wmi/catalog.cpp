#include "wmi/catalog.h"

#include <algorithm>

#include "frame/text.h"

namespace kvwmi::embedded {

Catalog::Catalog(const std::vector<std::shared_ptr<Provider>>& providers) {
  for (const auto& provider : providers) {
    derived_.try_emplace(fold_case(provider->schema().name));
    entries_.push_back({&provider->schema(), provider});
  }
  for (const auto& provider : providers) {
    const auto superclasses = provider->schema().superclasses;
    for (std::size_t i = 0; i < superclasses.size(); ++i) {
      if (!derived_.try_emplace(fold_case(superclasses[i])).second) continue;
      const cim::Class& implied =
          implied_.emplace_back(cim::Class{.name = superclasses[i],
                                           .superclasses = superclasses.subspan(i + 1),
                                           .description = {},
                                           .properties = {},
                                           .methods = {},
                                           .name_space = provider->schema().name_space,
                                           .is_abstract = true});
      entries_.push_back({&implied, nullptr});
    }
  }
  std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    return compare_ignoring_case(a.schema->name, b.schema->name) < 0;
  });
  for (const Entry& entry : entries_) derived_[fold_case(entry.schema->name)].push_back(&entry);
  for (const Entry& entry : entries_) {
    for (const std::string_view superclass : entry.schema->superclasses) {
      derived_[fold_case(superclass)].push_back(&entry);
    }
  }
}

const Catalog::Entry* Catalog::find(std::string_view name) const {
  const auto found = derived_.find(fold_case(name));
  return found == derived_.end() ? nullptr : found->second.front();
}

std::span<const Catalog::Entry* const> Catalog::derived(std::string_view name) const {
  const auto found = derived_.find(fold_case(name));
  return found == derived_.end() ? std::span<const Entry* const>() : found->second;
}

std::vector<std::string_view> Catalog::names() const {
  std::vector<std::string_view> names;
  for (const Entry& entry : entries_) names.push_back(entry.schema->name);
  return names;
}

std::vector<std::string> Catalog::family(std::string_view name) const {
  std::vector<std::string> names;
  for (const Entry* entry : derived(name)) names.emplace_back(entry->schema->name);
  if (names.empty()) return {std::string(name)};
  for (const std::string_view superclass : find(name)->schema->superclasses) names.emplace_back(superclass);
  return names;
}

}  // namespace kvwmi::embedded
