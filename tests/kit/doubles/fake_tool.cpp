// Stands in for an image tool and misbehaves as its source tells it: a file of one order, and of
// whatever the order is about. Its vector is any tool's: the source is the first operand that can
// be read, with or without a frame; the destination follows -outfile, or is last, or is standard
// output.
//
//   write\nBYTES     writes the bytes to the destination, exits with 0
//   cut\nBYTES       the same, and then dies by SIGSEGV
//   exit N           exits with N
//   read PATH, make PATH, mode, socket, signal PID, fork, leave
//                    exits with 0 when it could: read or make that file, change the destination's
//                    mode, make a socket, signal that process, fork, choose its process group
//   allocate, burn, fill, open
//                    takes memory, CPU time, disk, descriptors until it may not
//   hang, stubborn   waits for ever; ignoring SIGTERM
//   spread FILE      starts processes that wait for ever, one in a session of its own, writes their
//                    ids to FILE, and then hangs
//   litter           fills its temporary folder, then hangs
//   flood            writes to the destination and to standard error for ever

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "";
}

std::string ReadInput() { return std::string(std::istreambuf_iterator<char>(std::cin), {}); }

struct Order {
  std::string verb;
  std::string value;
  std::string bytes;
};

Order OrderOf(const std::string& text) {
  const size_t line = text.find('\n');
  const std::string first = text.substr(0, line);
  const size_t blank = first.find(' ');
  return {first.substr(0, blank), blank == std::string::npos ? "" : first.substr(blank + 1),
          line == std::string::npos ? "" : text.substr(line + 1)};
}

Order ReadOrder(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return OrderOf(ReadInput());
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0 && arguments[i - 1] == "-outfile") continue;
    std::string path = arguments[i];
    if (path.size() > 3 && path.compare(path.size() - 3, 3, "[0]") == 0)
      path.resize(path.size() - 3);
    const std::string text = path[0] == '-' ? "" : ReadAll(path);
    if (!text.empty()) return OrderOf(text);
  }
  return {};
}

std::string Destination(const std::vector<std::string>& arguments) {
  for (size_t i = 0; i + 1 < arguments.size(); ++i) {
    if (arguments[i] == "-outfile") return arguments[i + 1];
    if (arguments[i] == "-c") return "/dev/stdout";
  }
  return arguments.size() > 2 ? arguments.back() : "/dev/stdout";
}

[[noreturn]] void Hang() {
  for (;;) poll(nullptr, 0, -1);
}

void Write(const std::string& destination, const std::string& bytes) {
  if (destination == "/dev/stdout") {
    std::cout << bytes << std::flush;
  } else {
    std::ofstream(destination, std::ios::binary) << bytes;
  }
}

int Allocate() {
  try {
    for (;;) {
      constexpr size_t kBlock = 1 << 20;
      volatile char* const block = new char[kBlock];  // no compiler may leave it out
      for (size_t i = 0; i < kBlock; i += 4096) block[i] = 1;
    }
  } catch (const std::bad_alloc&) {
    std::cerr << "memory allocation failed\n";
    return 1;
  }
}

int OpenMany() {
  while (open("/dev/null", O_RDONLY) >= 0) {
  }
  perror("open");
  return 1;
}

int Fill(const std::string& destination) {
  std::ofstream file(destination, std::ios::binary);
  const std::string block(1 << 16, 'x');
  while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
  }
  return 1;
}

int Spread(const std::string& list) {
  std::ofstream ids(list);
  for (const bool leaves : {false, true}) {
    const pid_t child = fork();
    if (child == 0) {
      if (leaves) setsid();
      Hang();
    }
    ids << child << "\n" << std::flush;
  }
  Hang();
}

int Litter() {
  const char* const temporary = getenv("TMPDIR");
  if (temporary == nullptr) return 1;
  const std::string folder = temporary;
  for (int i = 0; i < 100; ++i) std::ofstream(folder + "/" + std::to_string(i)) << "litter";
  Hang();
}

int Flood(const std::string& destination) {
  std::ofstream file(destination);
  const std::string block(1000, 'x');
  for (;;) {
    std::cerr << block;
    if (destination != "/dev/stdout") continue;
    std::cout << block << std::flush;
  }
}

int Burn() {
  for (volatile unsigned i = 0;;) i = i + 1;
}

int Could(bool it_could) { return it_could ? 0 : 1; }

int Fork() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  return Could(child > 0);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const Order order = ReadOrder(arguments);
  const std::string destination = Destination(arguments);
  const std::string& verb = order.verb;
  if (verb == "write" || verb == "cut") {
    Write(destination, order.bytes);
    // A confined tool cannot send a signal, not to itself either.
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    if (verb == "cut") *static_cast<volatile int*>(nullptr) = 1;
    return 0;
  }
  if (verb == "exit") return std::stoi(order.value);
  if (verb == "read") return Could(!ReadAll(order.value).empty());
  if (verb == "make") return Could(std::ofstream(order.value).good());
  if (verb == "mode") return Could(chmod(destination.c_str(), 0777) == 0);
  if (verb == "socket") return Could(socket(AF_UNIX, SOCK_STREAM, 0) >= 0);
  if (verb == "signal") return Could(kill(std::stoi(order.value), 0) == 0);
  if (verb == "fork") return Fork();
  if (verb == "leave") return Could(setpgid(0, 0) == 0);
  if (verb == "allocate") return Allocate();
  if (verb == "burn") return Burn();
  if (verb == "fill") return Fill(destination);
  if (verb == "open") return OpenMany();
  if (verb == "stubborn") signal(SIGTERM, SIG_IGN);
  if (verb == "hang" || verb == "stubborn") Hang();
  if (verb == "spread") return Spread(order.value);
  if (verb == "litter") return Litter();
  if (verb == "flood") return Flood(destination);
  return 2;
}
