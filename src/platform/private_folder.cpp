#include "private_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "bare_calls.h"

namespace vexaplatform {
namespace {

constexpr int kDepth = 4;

bool IsDots(const char* name) { return strcmp(name, ".") == 0 || strcmp(name, "..") == 0; }

// Without the library's streams, which allocate.
void Empty(int parent, const char* name, int depth) {
  const bare::Descriptor folder(
      bare::OpenAt(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder) return;
  alignas(dirent64) char entries[2048];
  for (;;) {
    const long size = syscall(SYS_getdents64, folder.get(), entries, sizeof(entries));
    if (size <= 0) return;
    for (long at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(entries + at);
      at += entry->d_reclen;
      if (IsDots(entry->d_name) || bare::Remove(folder.get(), entry->d_name, 0) == 0 ||
          depth == 0) {
        continue;
      }
      Empty(folder.get(), entry->d_name, depth - 1);
      bare::Remove(folder.get(), entry->d_name, AT_REMOVEDIR);
    }
  }
}

}  // namespace

std::string PrivateFolderName(const std::string& parent) {
  static const char kDigits[] = "abcdefghijklmnopqrstuvwxyz012345";
  uint8_t random[16] = {};
  while (getrandom(random, sizeof(random), 0) != static_cast<ssize_t>(sizeof(random))) {
  }
  std::string name = parent + "/vexathumb-tool.";
  for (const uint8_t octet : random) name += kDigits[octet % 32];
  return name;
}

void RemovePrivateFolder(const char* path) {
  // A folder that shrinks while it is read may hide entries from one pass.
  for (int pass = 0; pass < kDepth; ++pass) {
    if (bare::Remove(AT_FDCWD, path, AT_REMOVEDIR) == 0) return;
    Empty(AT_FDCWD, path, kDepth);
  }
}

}  // namespace vexaplatform
