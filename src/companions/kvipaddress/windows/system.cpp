#include "companions/kvipaddress/system.h"

// The order of these matters.
#include <winsock2.h>
#include <ws2tcpip.h>
// clang-format off
#include <windows.h>
#include <iphlpapi.h>
// clang-format on

#include <cstring>
#include <string_view>
#include <utility>

namespace kvipaddress {
namespace {

class File {
 public:
  explicit File(HANDLE handle) : handle_(handle) {}
  ~File() { close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE get() const { return handle_; }
  void close() {
    if (valid()) ::CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
  }

 private:
  HANDLE handle_;
};

std::string utf8(const wchar_t* text) {
  const int length = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (length <= 1) return {};
  std::string result(static_cast<std::size_t>(length), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), length, nullptr, nullptr);
  result.pop_back();
  return result;
}

FileContent read_whole(HANDLE file, std::size_t limit) {
  FileContent content;
  LARGE_INTEGER size{};
  if (::GetFileType(file) != FILE_TYPE_DISK || !::GetFileSizeEx(file, &size)) return content;
  if (size.QuadPart < 0 || static_cast<ULONGLONG>(size.QuadPart) > limit) return content;
  std::string text(static_cast<std::size_t>(size.QuadPart), '\0');
  std::size_t length = 0;
  while (length < text.size()) {
    DWORD got = 0;
    if (!::ReadFile(file, text.data() + length, static_cast<DWORD>(text.size() - length), &got, nullptr)) {
      return content;
    }
    if (got == 0) break;
    length += got;
  }
  text.resize(length);
  return {FileContent::State::read, std::move(text)};
}

bool write_whole(HANDLE file, std::string_view text) {
  DWORD put = 0;
  return ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &put, nullptr) &&
         put == text.size() && ::FlushFileBuffers(file);
}

/// All adapters with their addresses, as the system hands them out; the list lies in `buffer`.
const IP_ADAPTER_ADDRESSES* read_adapters(std::vector<std::uint64_t>& buffer) {
  constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
  ULONG size = 16'384;
  // The list may grow between being asked for its size and being read.
  for (int attempt = 0; attempt < 5; ++attempt) {
    buffer.assign((size + 7) / 8, 0);
    auto* const adapters = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
    switch (::GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr, adapters, &size)) {
      case ERROR_SUCCESS:
        return adapters;
      case ERROR_BUFFER_OVERFLOW:
        break;
      default:
        return nullptr;
    }
  }
  return nullptr;
}

std::optional<Address> address_of(const SOCKET_ADDRESS& socket_address) {
  const auto* const raw = reinterpret_cast<const char*>(socket_address.lpSockaddr);
  const auto size = static_cast<std::size_t>(socket_address.iSockaddrLength);
  Address address;
  if (socket_address.lpSockaddr->sa_family == AF_INET && size >= sizeof(sockaddr_in)) {
    std::memcpy(address.bytes.data(), raw + offsetof(sockaddr_in, sin_addr), 4);
    return address;
  }
  if (socket_address.lpSockaddr->sa_family == AF_INET6 && size >= sizeof(sockaddr_in6)) {
    address.v6 = true;
    std::memcpy(address.bytes.data(), raw + offsetof(sockaddr_in6, sin6_addr), address.bytes.size());
    return address;
  }
  return std::nullopt;
}

bool is_usable(const IP_ADAPTER_UNICAST_ADDRESS& address) {
  return address.DadState != IpDadStateTentative && address.DadState != IpDadStateDuplicate &&
         address.DadState != IpDadStateInvalid;
}

class WindowsSystem final : public System {
 public:
  FileContent read_file(const std::string& path, std::size_t limit) override {
    const File file(::CreateFileA(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file.valid()) return read_whole(file.get(), limit);
    return {
        ::GetLastError() == ERROR_FILE_NOT_FOUND ? FileContent::State::missing : FileContent::State::unusable,
        {}};
  }

  bool replace_file(const std::string& path, const std::string& text) override {
    constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    const DWORD old = ::GetFileAttributesA(path.c_str());
    if (old == INVALID_FILE_ATTRIBUTES ? ::GetLastError() != ERROR_FILE_NOT_FOUND : (old & kNoFile) != 0) {
      return false;
    }
    const std::string draft =
        path + "." + std::to_string(::GetCurrentProcessId()) + "." + std::to_string(::GetCurrentThreadId());
    File file(::CreateFileA(draft.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                            nullptr));
    if (!file.valid()) return false;
    const bool written = write_whole(file.get(), text);
    file.close();
    if (written &&
        ::MoveFileExA(draft.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return true;
    }
    ::DeleteFileA(draft.c_str());
    return false;
  }

  std::optional<std::vector<InterfaceAddress>> addresses() override {
    std::vector<std::uint64_t> buffer;
    const auto* adapter = read_adapters(buffer);
    if (adapter == nullptr) return std::nullopt;
    std::vector<InterfaceAddress> result;
    for (; adapter != nullptr; adapter = adapter->Next) {
      for (const auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
        const auto address = address_of(unicast->Address);
        if (address && is_usable(*unicast)) result.push_back({utf8(adapter->FriendlyName), *address});
      }
    }
    return result;
  }

  std::optional<ActiveInterfaces> active_interfaces() override {
    std::vector<std::uint64_t> buffer;
    const auto* adapter = read_adapters(buffer);
    if (adapter == nullptr) return std::nullopt;
    ActiveInterfaces active;
    for (; adapter != nullptr; adapter = adapter->Next) {
      if (adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK || adapter->OperStatus != IfOperStatusUp) continue;
      if (std::string name = utf8(adapter->FriendlyName); !name.empty()) active.insert(std::move(name));
    }
    return active;
  }
};

}  // namespace

std::unique_ptr<System> local_system() {
  return std::make_unique<WindowsSystem>();
}

std::string utf8_of_argument(const char* text) {
  const int length = ::MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  if (length <= 1) return {};
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), length);
  return utf8(wide.c_str());
}

}  // namespace kvipaddress
