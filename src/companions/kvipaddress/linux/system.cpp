#include "companions/kvipaddress/system.h"

#include <fcntl.h>
#include <linux/if_addr.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>

#include "companions/kvipaddress/linux/netlink.h"

namespace kvipaddress {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] bool valid() const { return number_ >= 0; }
  [[nodiscard]] int get() const { return number_; }

 private:
  int number_;
};

// Files

FileContent read_whole(int file, std::size_t limit) {
  FileContent content;
  struct stat status {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return content;
  // One byte more than allowed tells a file that is too long, or grows.
  std::string text(limit + 1, '\0');
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t got = ::read(file, text.data() + length, text.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return content;
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  if (length > limit) return content;
  text.resize(length);
  return {FileContent::State::read, std::move(text)};
}

bool write_whole(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t put = ::write(file, text.data(), text.size());
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(put));
  }
  return ::fsync(file) == 0;
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

struct DumpRequest {
  nlmsghdr header{};
  rtgenmsg body{};
};

/// Asks the kernel for everything of one kind and hands `use` each message's type and content.
template <typename Use>
Dump dump_once(std::uint16_t kind, Use use) {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (!socket.valid()) return Dump::failed;
  // The kernel answers at once; the bound is for one that does not.
  const timeval patience{2, 0};
  if (::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0)
    return Dump::failed;

  DumpRequest request;
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = kind;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.body.rtgen_family = AF_UNSPEC;
  if (::send(socket.get(), &request, sizeof request, 0) < 0) return Dump::failed;

  std::string buffer(65'536, '\0');
  bool interrupted = false;
  for (;;) {
    const ssize_t got = ::recv(socket.get(), buffer.data(), buffer.size(), MSG_TRUNC);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || static_cast<std::size_t>(got) > buffer.size()) return Dump::failed;

    const std::string_view datagram(buffer.data(), static_cast<std::size_t>(got));
    if (const auto end = read_datagram(datagram, interrupted, use)) return *end;
  }
}

struct Link {
  std::string name;
  unsigned flags = 0;
};
using Links = std::map<std::uint32_t, Link>;

Dump read_links_once(Links& links) {
  links.clear();
  return dump_once(RTM_GETLINK, [&](unsigned type, std::string_view content) {
    const auto info = head<ifinfomsg>(content);
    if (type != RTM_NEWLINK || !info) return;
    Link link{{}, info->ifi_flags};
    for_each_attribute(after(content, sizeof *info), [&](int attribute, std::string_view value) {
      if (attribute == IFLA_IFNAME) link.name = value.substr(0, value.find('\0'));
    });
    links[static_cast<std::uint32_t>(info->ifi_index)] = std::move(link);
  });
}

Dump read_addresses_once(const Links& links, std::vector<InterfaceAddress>& addresses) {
  addresses.clear();
  return dump_once(RTM_GETADDR, [&](unsigned type, std::string_view content) {
    const auto info = head<ifaddrmsg>(content);
    if (type != RTM_NEWADDR || !info) return;
    const std::size_t size = info->ifa_family == AF_INET ? 4 : 16;
    std::uint32_t flags = info->ifa_flags;
    std::optional<Address> own;
    std::optional<Address> other;  // the far end where there is one, else the address itself
    for_each_attribute(after(content, sizeof *info), [&](int attribute, std::string_view value) {
      if (attribute == IFA_FLAGS) flags = head<std::uint32_t>(value).value_or(flags);
      if ((attribute != IFA_LOCAL && attribute != IFA_ADDRESS) || value.size() != size) return;
      Address address{info->ifa_family == AF_INET6, {}};
      std::memcpy(address.bytes.data(), value.data(), size);
      (attribute == IFA_LOCAL ? own : other) = address;
    });
    const auto link = links.find(info->ifa_index);
    if (!own) own = other;
    if (!own || link == links.end() || (flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)) != 0) return;
    addresses.push_back({link->second.name, *own});
  });
}

/// Reads again what changed while it was read, a few times.
template <typename Result, typename Read>
std::optional<Result> read_in_peace(Read read) {
  Result result;
  for (int attempt = 0; attempt < 5; ++attempt) {
    switch (read(result)) {
      case Dump::complete:
        return result;
      case Dump::interrupted:
        break;
      case Dump::failed:
        return std::nullopt;
    }
  }
  return std::nullopt;
}

class LinuxSystem final : public System {
 public:
  FileContent read_file(const std::string& path, std::size_t limit) override {
    // Not to wait for the other end of a pipe.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.valid()) return read_whole(file.get(), limit);
    return {errno == ENOENT ? FileContent::State::missing : FileContent::State::unusable, {}};
  }

  bool replace_file(const std::string& path, const std::string& text) override {
    struct stat old {};
    if (::lstat(path.c_str(), &old) == 0 ? !S_ISREG(old.st_mode) : errno != ENOENT) return false;
    std::string draft = path + "." + std::string(6, 'X');
    const Descriptor file(::mkostemp(draft.data(), O_CLOEXEC));
    if (!file.valid()) return false;
    if (!write_whole(file.get(), text) || ::rename(draft.c_str(), path.c_str()) != 0) {
      ::unlink(draft.c_str());
      return false;
    }
    const Descriptor folder(::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.valid()) static_cast<void>(::fsync(folder.get()));
    return true;
  }

  std::optional<std::vector<InterfaceAddress>> addresses() override {
    const auto links = read_in_peace<Links>(read_links_once);
    if (!links) return std::nullopt;
    return read_in_peace<std::vector<InterfaceAddress>>(
        [&](std::vector<InterfaceAddress>& addresses) { return read_addresses_once(*links, addresses); });
  }

  std::optional<ActiveInterfaces> active_interfaces() override {
    const auto links = read_in_peace<Links>(read_links_once);
    if (!links) return std::nullopt;
    ActiveInterfaces active;
    for (const auto& [index, link] : *links) {
      // Running: switched on, and connected where the device can tell.
      const bool counts = (link.flags & IFF_LOOPBACK) == 0 && !link.name.empty();
      if (counts && (link.flags & IFF_UP) != 0 && (link.flags & IFF_RUNNING) != 0) active.insert(link.name);
    }
    return active;
  }
};

}  // namespace

std::unique_ptr<System> local_system() {
  return std::make_unique<LinuxSystem>();
}

std::string utf8_of_argument(const char* text) {
  return text;
}

}  // namespace kvipaddress
