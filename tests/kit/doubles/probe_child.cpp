// A program for tests of whoever starts it: reports what it was given, or ends as it is told to.
//
//   report FILE        writes its descriptors, signals, arguments and variables to FILE, "-" is
//                      standard output
//   exit N             exits with status N
//   signal N           dies by signal N
//   say TEXT           writes TEXT to standard output
//   complain TEXT      writes TEXT to standard error
//   flood N            writes N bytes to standard output; exits with status 3 when it cannot
//   save FILE          copies standard input to FILE
//   interrupt PID      sends SIGUSR1 to that process 20 times, then exits with status 7

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

std::vector<int> OpenDescriptors() {
  std::vector<int> descriptors;
  DIR* folder = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_name[0] == '.') continue;
    const int descriptor = std::stoi(entry->d_name);
    if (descriptor != dirfd(folder)) descriptors.push_back(descriptor);
  }
  closedir(folder);
  std::sort(descriptors.begin(), descriptors.end());
  return descriptors;
}

void Report(std::ostream& out, int argc, char** argv, const std::vector<int>& descriptors) {
  for (const int descriptor : descriptors) {
    out << "descriptor " << descriptor << " "
        << std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string()
        << "\n";
  }
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("SigBlk:\t", 0) == 0) out << "blocked " << line.substr(8) << "\n";
    if (line.rfind("SigIgn:\t", 0) == 0) out << "ignored " << line.substr(8) << "\n";
  }
  for (int i = 0; i < argc; ++i) out << "argument " << argv[i] << "\n";
  for (char** variable = environ; *variable != nullptr; ++variable) {
    out << "variable " << *variable << "\n";
  }
  const std::pair<const char*, int> limits[] = {{"address_space", RLIMIT_AS},
                                                {"cpu_time", RLIMIT_CPU},
                                                {"file_size", RLIMIT_FSIZE},
                                                {"open_files", RLIMIT_NOFILE},
                                                {"core", RLIMIT_CORE}};
  for (const auto& [name, resource] : limits) {
    rlimit limit = {};
    getrlimit(static_cast<__rlimit_resource>(resource), &limit);
    out << "limit " << name << " " << limit.rlim_cur << " " << limit.rlim_max << "\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<int> descriptors = OpenDescriptors();
  if (argc < 3) return 2;
  const std::string action = argv[1];
  const std::string value = argv[2];
  if (action == "exit") return std::stoi(value);
  if (action == "signal") {
    raise(std::stoi(value));
    return 2;
  }
  if (action == "report" && value == "-") {
    Report(std::cout, argc, argv, descriptors);
  } else if (action == "report") {
    std::ofstream file(value);
    Report(file, argc, argv, descriptors);
  } else if (action == "say") {
    std::cout << value;
  } else if (action == "complain") {
    std::cerr << value;
  } else if (action == "flood") {
    const std::string block(1000, 'x');
    for (int left = std::stoi(value); left > 0; left -= 1000) std::cout << block << std::flush;
    if (!std::cout) return 3;
  } else if (action == "save") {
    std::ofstream(value) << std::string(std::istreambuf_iterator<char>(std::cin), {});
  } else if (action == "interrupt") {
    for (int left = 20; left > 0; --left) {
      kill(std::stoi(value), SIGUSR1);
      usleep(1000);
    }
    return 7;
  } else {
    return 2;
  }
  return 0;
}
