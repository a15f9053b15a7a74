#include "linux/providers/process_events.h"

#include <arpa/inet.h>
#include <linux/connector.h>
#include <linux/filter.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <random>

namespace kvwmi::ground::providers {
namespace {

// What a message tells, and where. Headers of different ages do not agree on the names.
constexpr std::uint32_t kAnswer = 0;
constexpr std::uint32_t kExec = 0x00000002;
constexpr std::uint32_t kComm = 0x00000200;
constexpr std::uint32_t kExit = 0x80000000;
constexpr std::size_t kConnector = NLMSG_HDRLEN;
constexpr std::size_t kWhat = kConnector + sizeof(cn_msg);
constexpr std::size_t kData = kWhat + 16;
constexpr std::size_t kError = kData;   // of an answer
constexpr std::size_t kThread = kData;  // of an event
constexpr std::size_t kProcess = kData + 4;

std::uint32_t number_at(std::span<const char> message, std::size_t place) {
  std::uint32_t number = 0;
  std::memcpy(&number, message.data() + place, sizeof number);
  return number;
}

/// Lets through answers, and the events of threads that stand for their process: a fork shows elsewhere, and
/// what other threads do is of no interest.
bool filter(int socket) {
  constexpr auto load = [](std::size_t place) {
    return sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(place));
  };
  const auto skip_if = [](std::uint32_t what, std::uint8_t steps) {
    return sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htonl(what), steps, 0);
  };
  std::array program{
      load(kWhat),
      skip_if(kAnswer, 9),
      skip_if(kExec, 3),
      skip_if(kComm, 2),
      skip_if(kExit, 1),
      sock_filter BPF_STMT(BPF_RET | BPF_K, 0),
      load(kThread),
      sock_filter BPF_STMT(BPF_MISC | BPF_TAX, 0),
      load(kProcess),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_X, 0, 1, 0),
      sock_filter BPF_STMT(BPF_RET | BPF_K, 0),
      sock_filter BPF_STMT(BPF_RET | BPF_K, 0xFFFFFFFF),
  };
  const sock_fprog of{static_cast<unsigned short>(program.size()), program.data()};
  return setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &of, sizeof of) == 0;
}

}  // namespace

Descriptor open_process_events() {
  Descriptor socket(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_CONNECTOR));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = CN_IDX_PROC;
  if (socket && filter(socket.get()) &&
      bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
    return socket;
  return {};
}

ProcessEvents::~ProcessEvents() {
  // Otherwise older kernels go on telling, to nobody.
  if (socket_) static_cast<void>(send(Request::ignore));
}

std::optional<std::uint64_t> ProcessEvents::count() {
  const std::lock_guard lock(mutex_);
  if (!socket_) begin();
  if (socket_) receive();
  return confirmed_ ? std::optional(count_) : std::nullopt;
}

void ProcessEvents::begin() {
  socket_ = machine_.open_process_events();
  if (socket_ && !send(Request::listen)) socket_ = Descriptor();
}

bool ProcessEvents::send(Request request) {
  number_ = std::random_device()();
  std::array<char, kWhat + sizeof request> datagram{};
  nlmsghdr header{};
  header.nlmsg_len = datagram.size();
  header.nlmsg_type = NLMSG_DONE;
  cn_msg message{};
  message.id = {CN_IDX_PROC, CN_VAL_PROC};
  message.ack = number_;
  message.len = sizeof request;
  std::memcpy(datagram.data(), &header, sizeof header);
  std::memcpy(datagram.data() + kConnector, &message, sizeof message);
  std::memcpy(datagram.data() + kWhat, &request, sizeof request);
  const ssize_t sent = ::send(socket_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  return sent == static_cast<ssize_t>(datagram.size());
}

void ProcessEvents::receive() {
  std::array<char, 1024> buffer{};
  while (true) {
    const ssize_t got = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got > 0) {
      take({buffer.data(), static_cast<std::size_t>(got)});
      continue;
    }
    if (got < 0 && errno == EAGAIN) return;
    ++count_;  // there was no room for some, or an end to them
    if (got < 0 && errno == ENOBUFS) continue;
    confirmed_ = false;
    socket_ = Descriptor();
    return;
  }
}

void ProcessEvents::take(std::span<const char> message) {
  if (message.size() < kProcess + sizeof(std::uint32_t)) return;
  if (number_at(message, kWhat) != kAnswer) {
    ++count_;
    return;
  }
  // Answers go to all who listen. One to this request is given only where events are: in a process namespace
  // of its own a request is passed over, though events may be seen there as long as somebody else listens.
  const std::uint32_t answered = number_at(message, kConnector + offsetof(cn_msg, ack));
  if (answered == number_ + 1) confirmed_ = number_at(message, kError) == 0;
}

}  // namespace kvwmi::ground::providers
