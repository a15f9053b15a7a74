#include "linux/providers/system_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "linux/folder.h"
#include "linux/parsers/scan.h"
#include "linux/providers/failure.h"

namespace kvwmi::ground::providers {
namespace {

/// A shortage says nothing of the file: what has used up its descriptors must not see everything end.
void raise_shortage(int error) {
  if (error == EMFILE || error == ENFILE || error == ENOMEM) throw provider_failure();
}

/// Reads on from `offset` to the end; false on an error.
bool read_from(int file, std::string& text) {
  constexpr std::size_t kStep = 8192;
  while (true) {
    const std::size_t size = text.size();
    text.resize(size + kStep);
    const ssize_t got = pread(file, text.data() + size, kStep, static_cast<off_t>(size));
    text.resize(size + (got > 0 ? static_cast<std::size_t>(got) : 0));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
  }
}

}  // namespace

Descriptor open_at(int folder, const char* path, int flags) {
  Descriptor file(openat(folder, path, flags | O_CLOEXEC));
  if (!file) raise_shortage(errno);
  return file;
}

std::optional<std::string_view> read_short(int folder, const char* path, std::span<char> buffer) {
  const Descriptor file = open_at(folder, path, O_RDONLY);
  if (!file) return std::nullopt;
  const ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
  if (got < 0) {
    raise_shortage(errno);
    return std::nullopt;
  }
  return std::string_view(buffer.data(), static_cast<std::size_t>(got));
}

std::optional<std::string> read_file_at(int folder, const char* path) {
  const Descriptor file = open_at(folder, path, O_RDONLY);
  std::string text;
  if (file && read_from(file.get(), text)) return text;
  raise_shortage(errno);
  return std::nullopt;
}

std::optional<std::string> read_file(const std::string& path) {
  return read_file_at(AT_FDCWD, path.c_str());
}

std::optional<std::string> read_line(const std::string& path) {
  const std::optional<std::string> text = read_file(path);
  if (!text) return std::nullopt;
  return std::string(parsers::trimmed(*text));
}

std::optional<std::string> read_link_at(int folder, const char* path) {
  std::string target(256, '\0');
  while (true) {
    const ssize_t got = readlinkat(folder, path, target.data(), target.size());
    if (got < 0) return std::nullopt;
    if (static_cast<std::size_t>(got) < target.size()) {
      target.resize(static_cast<std::size_t>(got));
      return target;
    }
    target.resize(2 * target.size());
  }
}

std::optional<std::vector<std::string>> list_folder(const std::string& path) {
  const Folder folder = open_folder(path);
  if (!folder) return std::nullopt;
  std::vector<std::string> names;
  while (true) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (entry == nullptr && errno != 0) return std::nullopt;
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

KeptFile::KeptFile(std::string path)
    : path_(std::move(path)), file_(open(path_.c_str(), O_RDONLY | O_CLOEXEC)) {}

std::string KeptFile::read() const {
  std::string text;
  if (file_) {
    if (read_from(file_.get(), text)) return text;
  } else if (auto now = read_file(path_)) {
    return *std::move(now);
  }
  throw provider_failure();
}

}  // namespace kvwmi::ground::providers
