#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Pieces of event queries that several requests are made of.
namespace kvwmi::supervision {

inline constexpr const char* kModification = "SELECT * FROM __InstanceModificationEvent ";
inline constexpr const char* kCreation = "SELECT * FROM __InstanceCreationEvent ";
inline constexpr const char* kDeletion = "SELECT * FROM __InstanceDeletionEvent ";

/// "WITHIN 5 ", the polling period being in seconds.
[[nodiscard]] std::string within(std::int32_t polling_period);

/// `text` with every occurrence of `from`, which must not be empty, replaced.
[[nodiscard]] std::string replaced(std::string_view text, std::string_view from, std::string_view to);

/// Backslashes doubled: a path within a text literal of a query.
[[nodiscard]] std::string doubled(std::string_view path);

/// The first `count` characters, or all of them where there are fewer.
[[nodiscard]] std::string first_characters(std::string_view text, std::size_t count);

}  // namespace kvwmi::supervision
