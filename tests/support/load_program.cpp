// A process of known size and known use of the processor, for tests to look at:
//   load_program MEGABYTES idle|busy
// It touches so much memory, prints a line when it has, and then sleeps or computes until it is ended.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::size_t size = static_cast<std::size_t>(std::strtoul(argv[1], nullptr, 10)) << 20U;
  if (size > 0) {
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return 1;
    std::memset(memory, 1, size);
  }
  std::puts("ready");
  std::fflush(stdout);
  if (std::string_view(argv[2]) == "busy") {
    volatile unsigned turns = 0;
    while (turns % 2 < 2) turns = turns + 1;
  }
  pause();
  return 0;
}
