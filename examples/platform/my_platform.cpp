// A platform library of one's own in the place of libvexaplatform: all that libvexathumb asks of a
// platform, as little as will do. Stores lie under one folder, $MY_STORE; every share is indexed.
//
// What ours has and this lacks: limits and confinement of the tools, which work on the files of
// strangers; a store that no link leads out of; conditions and ranges of web requests; copies that
// appear whole.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "http/http_file_responder.h"
#include "vexa/copy.h"
#include "vexa/ea.h"
#include "vexa/fs.h"
#include "vexa/share.h"
#include "vlibc/process.h"

namespace {

namespace fs = std::filesystem;

int FailWith(int error) {
  errno = error;
  return -1;
}

// ---- The store ----

std::string StoreDirectoryOf(const char* source) {
  const char* const root = getenv("MY_STORE");
  return std::string(root == nullptr ? "/var/tmp/my-store" : root) + source;
}

// Copies the text into a buffer of the library's.
int Answer(const std::string& text, char* buf, int size) {
  if (size <= 0 || text.size() >= static_cast<size_t>(size)) return FailWith(ENAMETOOLONG);
  text.copy(buf, text.size());
  buf[text.size()] = '\0';
  return 0;
}

// ---- Tools ----

// Starts a program with one end of a pipe as its input or output, or without one. -1 with errno.
pid_t Start(const char* path, const char* const argv[], int input, int output) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  if (input >= 0) posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  if (input < 0) posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (output >= 0) posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
  if (output < 0) posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = -1;
  const int error =
      posix_spawn(&process, path, &files, nullptr, const_cast<char* const*>(argv), environ);
  posix_spawn_file_actions_destroy(&files);
  return error == 0 ? process : FailWith(error);
}

// How it ended, as the library's callers are told.
int WaitFor(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

int Run(const char* path, const char* const argv[]) {
  const pid_t process = Start(path, argv, -1, -1);
  return process < 0 ? -1 : WaitFor(process);
}

std::mutex mutex;
std::map<FILE*, pid_t> processes;  // behind streams

}  // namespace

// ---- Volumes: each holds a store ----

FSTYPE VEXAGetFSType(const char* path, int /*flag*/) {
  return access(path, F_OK) == 0 ? FSTYPE_EXT4 : FSTYPE_ERR;
}

BOOL VEXAFSIsRemoteFS(FSTYPE type) {
  return type == FSTYPE_CIFS || type == FSTYPE_NFS || type == FSTYPE_GLUSTERFS ? TRUE : FALSE;
}

BOOL VEXAFSIsImageFS(FSTYPE type) {
  return type == FSTYPE_ISO || type == FSTYPE_UDF ? TRUE : FALSE;
}

// ---- The store: a directory for each source ----

int VEXAEADirPath(EATYPE /*type*/, const char* path, char* buf, int size) {
  return path[0] == '/' ? Answer(StoreDirectoryOf(path), buf, size) : FailWith(EINVAL);
}

int VEXAEAPath(EATYPE /*type*/, const char* path, const char* name, char* buf, int size,
               EA_AD_SHARE /*ad*/) {
  const std::string entry = name;
  if (path[0] != '/' || entry.empty() || entry == "." || entry == ".." ||
      entry.find('/') != std::string::npos) {
    return FailWith(EINVAL);
  }
  return Answer(StoreDirectoryOf(path) + "/" + entry, buf, size);
}

int VEXAEAMKDir(int /*flag*/, const char* dir) {
  std::error_code error;
  fs::create_directories(dir, error);
  return error ? FailWith(error.value()) : 0;
}

// ---- Files ----

int VEXAFileCopy(const char* src, const char* dst, PVEXACOPYARGS args) {
  const bool overwrites = args != nullptr && args->blOverWrite != 0;
  const auto existing = overwrites ? fs::copy_options::overwrite_existing : fs::copy_options::none;
  std::error_code error;
  struct stat status = {};
  if (!fs::copy_file(src, dst, existing, error)) return FailWith(error ? error.value() : EEXIST);
  if (stat(src, &status) != 0) return -1;
  const struct timespec times[] = {status.st_atim, status.st_mtim};
  if (utimensat(AT_FDCWD, dst, times, 0) != 0) return -1;
  return args != nullptr && args->blRemoveSrc != 0 ? unlink(src) : 0;
}

// ---- Shares ----

int VEXAShareGet(const char* /*name*/, VEXASHARE** share) {
  *share = static_cast<VEXASHARE*>(calloc(1, sizeof(VEXASHARE)));
  if (*share == nullptr) return FailWith(ENOMEM);
  (*share)->status = SHARE_STATUS_INDEXED;
  return 0;
}

void VEXAShareFree(VEXASHARE* share) { free(share); }

// ---- Tools ----

int VLIBCExecv(const char* path, const char* const argv[], int /*flag*/) { return Run(path, argv); }

int VLIBCExecl(const char* path, int flag, ...) {
  std::vector<const char*> argv = {path};
  va_list arguments;
  va_start(arguments, flag);
  while (argv.back() != nullptr) argv.push_back(va_arg(arguments, const char*));
  va_end(arguments);
  return Run(path, argv.data());
}

FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
  const bool reads = mode[0] == 'r';
  const int own = reads ? ends[0] : ends[1];
  const int others = reads ? ends[1] : ends[0];
  const pid_t process = Start(path, argv, reads ? -1 : others, reads ? others : -1);
  close(others);
  FILE* const stream = process < 0 ? nullptr : fdopen(own, mode);
  if (stream == nullptr) {
    close(own);
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(mutex);
  processes[stream] = process;
  return stream;
}

int VLIBCPclose(FILE* stream) {
  pid_t process = -1;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = processes.find(stream);
    if (found != processes.end()) {
      process = found->second;
      processes.erase(found);
    }
  }
  fclose(stream);
  return process < 0 ? FailWith(ECHILD) : WaitFor(process);
}

// ---- Web ----

int HttpFileResponder::Output(const char* path, const char* mime) {
  FILE* const file = fopen(path, "rbe");
  if (file == nullptr) return -1;
  printf("Content-Type: %s\r\n\r\n", mime);
  char buffer[1 << 16];
  size_t size = 0;
  while ((size = fread(buffer, 1, sizeof(buffer), file)) > 0) fwrite(buffer, 1, size, stdout);
  const bool is_whole = ferror(file) == 0 && fflush(stdout) == 0;
  fclose(file);
  return is_whole ? 0 : -1;
}

int HttpFileResponder::Output(FILE* stream, const char* /*name*/, const char* mime) {
  if (stream == nullptr) return -1;
  printf("Content-Type: %s\r\n\r\n", mime);
  char buffer[1 << 16];
  size_t size = 0;
  while ((size = fread(buffer, 1, sizeof(buffer), stream)) > 0) fwrite(buffer, 1, size, stdout);
  const bool is_written = fflush(stdout) == 0;
  return VLIBCPclose(stream) == 0 && is_written ? 0 : -1;
}
