#include "programs/vexathumb-web/shared_counters.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <utility>

#include "service/base/atomic_file.h"
#include "service/base/lock_file.h"

namespace vexathumb::web {
namespace {

constexpr uint32_t kCountersMagic = 0x56584d43;

// What is mapped, for the handler of a signal.
std::atomic<char*> mapped_begin = nullptr;
std::atomic<size_t> mapped_size = 0;

// A page of the mapping has no file behind it any more: the pages become this process's own, with
// nothing counted. Any other such signal ends the process, as it would have.
void OnMissingPage(int signal_number, siginfo_t* fault, void* /*context*/) {
  char* const begin = mapped_begin;
  const char* const address = static_cast<const char*>(fault->si_addr);
  const bool is_ours = begin != nullptr && address >= begin && address < begin + mapped_size;
  if (is_ours && mmap(begin, mapped_size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
    return;
  }
  signal(signal_number, SIG_DFL);
}

void GuardMapping(void* mapping, size_t size) {
  mapped_size = size;
  mapped_begin = static_cast<char*>(mapping);
  struct sigaction action = {};
  action.sa_sigaction = &OnMissingPage;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGBUS, &action, nullptr);
}

// From the first process to this one: other than its number, this is had without a system call.
unsigned Forks() {
  static std::atomic<unsigned> forks = 0;
  static const int counted = pthread_atfork(nullptr, nullptr, [] {
    ++forks;
    mapped_begin = nullptr;  // it is not there, and what is may be a stranger's file
  });
  static_cast<void>(counted);
  return forks;
}

}  // namespace

SharedCounters::SharedCounters(std::string directory, std::string name, uint32_t layout,
                               uint32_t count)
    : directory_(std::move(directory)),
      name_(std::move(name)),
      layout_(layout),
      count_(count),
      own_(std::make_unique<Counter[]>(count)),
      counters_(own_.get()) {
  Refresh();
}

SharedCounters::~SharedCounters() { Unmap(); }

void SharedCounters::Refresh() noexcept try {
  if (file_ && forks_ == Forks() && IsOwnFile(file_.get())) return;
  Unmap();
  const std::string path = service::LockFolder(directory_) + "/" + name_;
  if (Map(path)) return;
  // One makes it. Nobody waits for that: what is counted meanwhile is added when there is one.
  service::LockFile maker(directory_, name_ + ".lock");
  if (maker.TryLock() && !Map(path) && Make(path)) Map(path);
} catch (...) {
  return;  // tried again the next time
}

bool SharedCounters::IsShared() const { return mapping_ != nullptr; }

SharedCounters::Header SharedCounters::OwnHeader() const {
  return {kCountersMagic, layout_, count_, 0};
}

// By a name, too: nobody finds one that has none.
bool SharedCounters::IsOwnFile(int file) const {
  struct stat status = {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 077) == 0 && status.st_nlink == 1 &&
         status.st_size == static_cast<off_t>(FileSize());
}

bool SharedCounters::Map(const std::string& path) {
  posix::UniqueFd file(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  Header header = {};
  const Header own = OwnHeader();
  if (!file || !IsOwnFile(file.get()) ||
      pread(file.get(), &header, sizeof(header), 0) != sizeof(header) ||
      memcmp(&header, &own, sizeof(own)) != 0) {
    return false;
  }
  void* const mapping =
      mmap(nullptr, FileSize(), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (mapping == MAP_FAILED) return false;
  madvise(mapping, FileSize(), MADV_DONTFORK);  // those that read pictures of strangers are forked
  GuardMapping(mapping, FileSize());
  file_ = std::move(file);
  mapping_ = mapping;
  forks_ = Forks();
  counters_ = reinterpret_cast<Counter*>(static_cast<char*>(mapping) + sizeof(Header));
  for (size_t counter = 0; counter < count_; ++counter) Add(counter, own_[counter].exchange(0));
  return true;
}

// With all its room on the volume, so that counting never lacks it.
bool SharedCounters::Make(const std::string& path) const {
  service::AtomicFile made(path);
  const int file = made.Create();
  const Header own = OwnHeader();
  service::AtomicFile::Attributes attributes;
  attributes.mode = 0600;
  return file >= 0 && posix_fallocate(file, 0, static_cast<off_t>(FileSize())) == 0 &&
         pwrite(file, &own, sizeof(own), 0) == sizeof(own) && made.Commit(attributes);
}

void SharedCounters::Unmap() {
  if (mapping_ == nullptr) return;
  counters_ = own_.get();
  mapped_begin = nullptr;
  void* const mapping = std::exchange(mapping_, nullptr);
  if (forks_ == Forks()) munmap(mapping, FileSize());
  file_ = posix::UniqueFd();
}

}  // namespace vexathumb::web
