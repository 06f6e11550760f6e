/* What somebody else's program in C looks like: the installed header and library only. */
#define _POSIX_C_SOURCE 200809L
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vexathumb.h>

static const char* folder;

#define CHECK(condition)                                     \
  do {                                                       \
    if (!(condition)) {                                      \
      printf("%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      return false;                                          \
    }                                                        \
  } while (0)

static VexathumbRequest* request_for(const char* name, const char* size) {
  char path[4096];
  snprintf(path, sizeof(path), "%s/%s", folder, name);
  VexathumbRequest* request = vexathumb_request_new(path);
  if (request != NULL && size != NULL) vexathumb_request_set_size(request, size);
  return request;
}

static VexathumbStatus status_for(const char* name, const char* size) {
  VexathumbRequest* request = request_for(name, size);
  VexathumbPicture* picture = NULL;
  const VexathumbStatus status = vexathumb_request_obtain(request, &picture);
  vexathumb_picture_free(picture);
  vexathumb_request_free(request);
  return status;
}

static bool a_thumbnail_is_made_once_and_then_found(void) {
  VexathumbRequest* request = request_for("large.jpg", "big");
  VexathumbOrigin origin = VEXATHUMB_ORIGIN_SOURCE;
  CHECK(vexathumb_request_choose(request, &origin) == VEXATHUMB_OK);
  CHECK(origin == VEXATHUMB_ORIGIN_TO_BE_MADE);
  struct stat made, found;
  for (int i = 0; i < 2; ++i) {
    VexathumbPicture* picture = NULL;
    CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK);
    CHECK(strcmp(vexathumb_request_error_message(request), "") == 0);
    CHECK(vexathumb_picture_origin(picture) == VEXATHUMB_ORIGIN_DOCDECK);
    CHECK(strcmp(vexathumb_picture_mime(picture), "image/jpeg") == 0);
    CHECK(!vexathumb_picture_is_temporary(picture));
    CHECK(!vexathumb_picture_is_damaged(picture));
    uint32_t width = 0, height = 0;
    CHECK(vexathumb_picture_size(picture, &width, &height) == VEXATHUMB_OK);
    CHECK(width >= 640 && width * 3 == height * 4);
    CHECK(stat(vexathumb_picture_path(picture), i == 0 ? &made : &found) == 0);
    vexathumb_picture_free(picture);
  }
  CHECK(made.st_ino == found.st_ino);
  CHECK(vexathumb_request_choose(request, &origin) == VEXATHUMB_OK);
  CHECK(origin == VEXATHUMB_ORIGIN_DOCDECK);
  vexathumb_request_free(request);
  return true;
}

static bool bytes_are_those_of_the_file(void) {
  VexathumbRequest* request = request_for("large.jpg", "small");
  VexathumbPicture* picture = NULL;
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK);
  void* bytes = NULL;
  size_t size = 0, count = 0;
  CHECK(vexathumb_picture_load(picture, &bytes, &size) == VEXATHUMB_OK);
  CHECK(size > 100 && size == vexathumb_picture_bytes(picture));
  CHECK(memcmp(bytes, "\xff\xd8\xff", 3) == 0);
  unsigned char part[64], *end = (unsigned char*)bytes + size;
  CHECK(vexathumb_picture_read(picture, size - 10, part, sizeof(part), &count) == VEXATHUMB_OK);
  CHECK(count == 10 && memcmp(part, end - 10, 10) == 0);
  CHECK(vexathumb_picture_read(picture, size + 1, part, sizeof(part), &count) == VEXATHUMB_OK);
  CHECK(count == 0);
  CHECK(vexathumb_picture_read(picture, UINT64_MAX, part, sizeof(part), &count) == VEXATHUMB_OK);
  CHECK(count == 0);
  CHECK(read(vexathumb_picture_descriptor(picture), part, 3) == 3);
  CHECK(memcmp(part, bytes, 3) == 0);

  char saved[4096];
  snprintf(saved, sizeof(saved), "%s/saved.jpg", folder);
  CHECK(vexathumb_picture_save(picture, saved) == VEXATHUMB_OK);
  struct stat status;
  CHECK(stat(saved, &status) == 0 && (size_t)status.st_size == size);
  CHECK(vexathumb_picture_save(picture, "/nonexistent/saved.jpg") == VEXATHUMB_SYSTEM);
  vexathumb_free(bytes);
  vexathumb_picture_free(picture);
  vexathumb_request_free(request);
  return true;
}

static bool a_missing_file_is_told(void) {
  VexathumbRequest* request = request_for("missing.jpg", "big");
  VexathumbPicture* picture = NULL;
  VexathumbOrigin origin;
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_MISSING);
  CHECK(picture == NULL);
  CHECK(strcmp(vexathumb_request_error_message(request), "there is no such file") == 0);
  CHECK(vexathumb_request_choose(request, &origin) == VEXATHUMB_MISSING);
  vexathumb_request_free(request);
  return true;
}

static bool wrong_arguments_are_refused(void) {
  VexathumbRequest* request = request_for("large.jpg", NULL);
  VexathumbPicture* picture = NULL;
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_error_message(request)[0] != '\0');
  CHECK(vexathumb_request_set_size(request, "huge") == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_set_size(request, NULL) == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_set_box(request, 0, 10) == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_set_box(request, 10, VEXATHUMB_LARGEST_SIDE + 1) == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_set_stores(request, 4) == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_set_size(request, "big") == VEXATHUMB_OK);
  CHECK(vexathumb_request_obtain(request, NULL) == VEXATHUMB_INVALID);
  CHECK(vexathumb_request_obtain(NULL, &picture) == VEXATHUMB_INVALID);
  vexathumb_request_free(request);
  errno = 0;
  CHECK(vexathumb_request_new("") == NULL && errno == EINVAL);
  CHECK(vexathumb_request_new_in_share("a", NULL) == NULL);
  CHECK(vexathumb_picture_path(NULL) == NULL && vexathumb_picture_descriptor(NULL) == -1);
  vexathumb_request_set_fill(NULL, true);
  vexathumb_request_free(NULL);
  vexathumb_picture_free(NULL);
  vexathumb_free(NULL);
  return true;
}

static bool a_broken_picture_is_its_own_fault(void) {
  CHECK(status_for("broken.jpg", "big") == VEXATHUMB_UNUSABLE);
  VexathumbRequest* request = request_for("broken.jpg", "big");
  VexathumbPicture* picture = NULL;
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_UNUSABLE);
  CHECK(vexathumb_request_error_message(request)[0] != '\0');
  vexathumb_request_set_try_again(request, true);
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_UNUSABLE);
  vexathumb_request_free(request);
  CHECK(status_for("text.jpg", "big") == VEXATHUMB_UNUSABLE);
  return true;
}

static bool a_picture_that_is_cut_short_is_shown_and_told(void) {
  VexathumbRequest* request = request_for("cut.jpg", "big");
  VexathumbPicture* picture = NULL;
  const VexathumbStatus status = vexathumb_request_obtain(request, &picture);
  /* By the tools alone there is none. */
  CHECK(status == VEXATHUMB_OK || getenv("WITHOUT_RENDERER") != NULL);
  CHECK(status != VEXATHUMB_OK || vexathumb_picture_is_damaged(picture));
  vexathumb_picture_free(picture);
  vexathumb_request_free(request);
  return true;
}

static bool an_embedded_preview_serves(void) {
  VexathumbRequest* request = request_for("preview.jpg", "small");
  VexathumbPicture* picture = NULL;
  uint32_t width = 0, height = 0;
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK);
  CHECK(vexathumb_picture_size(picture, &width, &height) == VEXATHUMB_OK);
  CHECK(width == 160 && height == 120); /* the preview's own */
  vexathumb_picture_free(picture);
  vexathumb_request_free(request);
  return true;
}

static bool a_free_box_is_fitted_or_filled(void) {
  VexathumbRequest* request = request_for("large.jpg", NULL);
  for (int fill = 0; fill < 2; ++fill) {
    VexathumbPicture* picture = NULL;
    uint32_t width = 0, height = 0;
    CHECK(vexathumb_request_set_box(request, 200, 200) == VEXATHUMB_OK);
    vexathumb_request_set_fill(request, fill == 1);
    CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK);
    CHECK(vexathumb_picture_size(picture, &width, &height) == VEXATHUMB_OK);
    CHECK(fill == 1 ? width == height : width * 3 == height * 4);
    vexathumb_picture_free(picture);
  }
  vexathumb_request_free(request);
  return true;
}

static bool turns_are_made(void) {
  VexathumbRequest* request = request_for("large.jpg", "small");
  VexathumbPicture* picture = NULL;
  uint32_t width = 0, height = 0;
  vexathumb_request_set_turns(request, -1);
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK);
  CHECK(vexathumb_picture_size(picture, &width, &height) == VEXATHUMB_OK);
  CHECK(width * 4 == height * 3);
  vexathumb_picture_free(picture);
  vexathumb_request_free(request);
  return true;
}

static bool nothing_is_built_where_it_may_not_be(void) {
  VexathumbRequest* request = request_for("other.jpg", "big");
  VexathumbPicture* picture = NULL;
  vexathumb_request_set_may_build(request, false);
  CHECK(vexathumb_request_obtain(request, &picture) == VEXATHUMB_NOT_STORED);
  vexathumb_request_free(request);
  return true;
}

static bool a_share_is_not_left(void) {
  const struct {
    const char *share, *path;
    VexathumbStatus status;
  } cases[] = {
      {"photo", "large.jpg", VEXATHUMB_OK},       {"photo", "../platform.ini", VEXATHUMB_MISSING},
      {"photo", "link.jpg", VEXATHUMB_MISSING},   {"photo", "", VEXATHUMB_MISSING},
      {"photo", "/large.jpg", VEXATHUMB_MISSING}, {"other", "large.jpg", VEXATHUMB_MISSING}};
  for (size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
    VexathumbRequest* request =
        vexathumb_request_new_in_share(cases[i].share, cases[i].path[0] ? cases[i].path : ".");
    VexathumbPicture* picture = NULL;
    CHECK(vexathumb_request_set_size(request, "small") == VEXATHUMB_OK);
    CHECK(vexathumb_request_obtain(request, &picture) == cases[i].status);
    vexathumb_picture_free(picture);
    vexathumb_request_free(request);
  }
  return true;
}

static void* ask(void* failures) {
  for (int i = 0; i < 5; ++i) {
    if (status_for("threads.jpg", i % 2 == 0 ? "medium" : "small") != VEXATHUMB_OK)
      ++*(int*)failures;
    if (status_for("missing.jpg", "big") != VEXATHUMB_MISSING) ++*(int*)failures;
  }
  return NULL;
}

static bool threads_ask_side_by_side(void) {
  enum { kThreads = 6 };
  pthread_t threads[kThreads];
  int failures[kThreads] = {0};
  for (int i = 0; i < kThreads; ++i)
    CHECK(pthread_create(&threads[i], NULL, ask, &failures[i]) == 0);
  for (int i = 0; i < kThreads; ++i) pthread_join(threads[i], NULL);
  for (int i = 0; i < kThreads; ++i) CHECK(failures[i] == 0);
  return true;
}

static int lowest_free_descriptor(void) {
  const int descriptor = dup(STDIN_FILENO);
  close(descriptor);
  return descriptor;
}

static bool the_host_stays_as_it_was(void) {
  char before[4096], after[4096];
  struct sigaction action;
  umask(027);
  const int descriptor = lowest_free_descriptor();
  CHECK(getcwd(before, sizeof(before)) != NULL);
  CHECK(status_for("host.jpg", "medium") == VEXATHUMB_OK);
  CHECK(getcwd(after, sizeof(after)) != NULL && strcmp(before, after) == 0);
  CHECK(umask(022) == 027);
  CHECK(sigaction(SIGPIPE, NULL, &action) == 0 && action.sa_handler == SIG_DFL);
  CHECK(sigaction(SIGCHLD, NULL, &action) == 0 && action.sa_handler == SIG_DFL);
  CHECK(lowest_free_descriptor() == descriptor);
  return true;
}

int main(int argc, char** argv) {
  static const struct {
    const char* name;
    bool (*holds)(void);
  } tests[] = {
      {"a thumbnail is made once and then found", a_thumbnail_is_made_once_and_then_found},
      {"bytes are those of the file", bytes_are_those_of_the_file},
      {"a missing file is told", a_missing_file_is_told},
      {"wrong arguments are refused", wrong_arguments_are_refused},
      {"a broken picture is its own fault", a_broken_picture_is_its_own_fault},
      {"a picture that is cut short is shown and told",
       a_picture_that_is_cut_short_is_shown_and_told},
      {"an embedded preview serves", an_embedded_preview_serves},
      {"a free box is fitted or filled", a_free_box_is_fitted_or_filled},
      {"turns are made", turns_are_made},
      {"nothing is built where it may not be", nothing_is_built_where_it_may_not_be},
      {"a share is not left", a_share_is_not_left},
      {"threads ask side by side", threads_ask_side_by_side},
      {"the host stays as it was", the_host_stays_as_it_was},
  };
  int failures = 0;
  if (argc != 2) return 2;
  folder = argv[1];
  if (vexathumb_prepare() != VEXATHUMB_OK) return 1;
  printf("vexathumb %s\n", vexathumb_version());
  for (size_t i = 0; i < sizeof(tests) / sizeof(tests[0]); ++i) {
    const bool holds = tests[i].holds();
    printf("%s: %s\n", holds ? "ok" : "FAILED", tests[i].name);
    if (!holds) ++failures;
  }
  vexathumb_maintain();
  return failures == 0 ? 0 : 1;
}
