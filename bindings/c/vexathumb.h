/* Thumbnails from C, and from whatever can call C.
 *
 * Finds the stored thumbnail of a picture, or has it made: once, however many processes ask for it,
 * with the locks, the record of failures, the limits and the renderer that the programs `vexathumb`
 * and `vexathumb-web` have too, and by the same settings.
 *
 *   VexathumbPicture *picture = NULL;
 *   VexathumbRequest *request = vexathumb_request_new("/volume1/photo/a.jpg");
 *   vexathumb_request_set_size(request, "big");
 *   if (vexathumb_request_obtain(request, &picture) == VEXATHUMB_OK) {
 *     printf("%s, %s\n", vexathumb_picture_path(picture), vexathumb_picture_mime(picture));
 *     vexathumb_picture_free(picture);
 *   } else {
 *     fprintf(stderr, "%s\n", vexathumb_request_error_message(request));
 *   }
 *   vexathumb_request_free(request);
 *
 * Threads. All functions may be called from any thread. Different requests may be used at once,
 * also for one and the same file; one request is used by one thread at a time. A picture may be
 * used by several threads at once, but for vexathumb_picture_free(). A call that builds takes as
 * long as that takes, up to minutes for a large source, besides the wait for its turn. Do not
 * cancel a thread (pthread_cancel) that is in a call.
 *
 * The host. No call changes the current folder, the umask, the locale, the environment, the
 * handling of signals or a descriptor of the host, and none writes to its standard streams, but for
 * a warning of Exiv2's about a raw file. Descriptors that calls make are closed on exec. Relative
 * paths are of the current folder when the request is made. What is wrong with the machine, or with
 * the settings, goes to the system log. The environment is read, so that no other thread may change
 * it meanwhile.
 *
 * Processes. What reads metadata is forked from the host when it is first needed, has nothing of
 * the host's open and ends with it; it is replaced when a file has ended it. Its memory begins as a
 * copy of the host's, and handlers of pthread_atfork(3) run: a host with secrets, or with threads
 * that use the system log, calls vexathumb_prepare() at its start. The renderer and the tools are
 * programs of their own. The host sees the end of these two kinds of children at most in SIGCHLD or
 * wait(2): of the reader, and of what starts the renderer. It need do nothing about them; where it
 * waits for any child, or ignores SIGCHLD, a source that ends its reader counts as postponed, not
 * as failed. A host may fork; the child calls these functions as if it were new, but only if no
 * other thread of its parent was in one of them.
 *
 * Errors. Functions that can fail return a VexathumbStatus, and leave what they would have answered
 * with as it was. No C++ exception comes out. Null pointers where an object is wanted are
 * VEXATHUMB_INVALID, or answered with 0, "" or NULL.
 *
 * Texts are UTF-8 in English, paths the bytes of the file system; all end with a null byte. Boxes
 * are in pixels of the picture as displayed: after the turns that its metadata say and those of the
 * request.
 */
#ifndef VEXATHUMB_BINDINGS_C_VEXATHUMB_H_
#define VEXATHUMB_BINDINGS_C_VEXATHUMB_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Marks what libvexathumb-c.so exports. */
#define VEXATHUMB_C_API __attribute__((visibility("default")))

/* How a call ended. Values stay what they are; there may be further ones. */
typedef enum VexathumbStatus {
  VEXATHUMB_OK = 0,
  VEXATHUMB_INVALID = 1,        /* an argument is wrong, or the request lacks a size */
  VEXATHUMB_MISSING = 2,        /* there is no such source, or it may not be read */
  VEXATHUMB_NOT_STORED = 3,     /* only stored thumbnails were asked for */
  VEXATHUMB_UNUSABLE = 4,       /* no thumbnail can be made of the source: it is its own fault */
  VEXATHUMB_SOURCE_CHANGED = 5, /* it was written while its thumbnail was made: ask again */
  VEXATHUMB_OVERLOAD = 6,       /* too many thumbnails are being made: ask again later */
  VEXATHUMB_POSTPONED = 7,      /* the machine's fault, or not known whose: ask again later */
  VEXATHUMB_SYSTEM = 8,         /* locks or files of this library cannot be used */
  VEXATHUMB_NO_MEMORY = 9
} VexathumbStatus;

/* Where a picture comes from. */
typedef enum VexathumbOrigin {
  VEXATHUMB_ORIGIN_PIXDECK = 0,   /* stored by the photo-album application */
  VEXATHUMB_ORIGIN_DOCDECK = 1,   /* stored by the file-manager application, or just now by this */
  VEXATHUMB_ORIGIN_REELDECK = 2,  /* a video's screenshot, stored by the video application */
  VEXATHUMB_ORIGIN_SOURCE = 3,    /* the source itself, which needs no conversion */
  VEXATHUMB_ORIGIN_UNSTORED = 4,  /* made for this request alone: the store did not take it */
  VEXATHUMB_ORIGIN_TO_BE_MADE = 5 /* of a choice: nothing serves yet, it would be made */
} VexathumbOrigin;

/* The applications in whose stores a request looks, as bits. */
typedef enum VexathumbStores {
  VEXATHUMB_STORE_PIXDECK = 1,
  VEXATHUMB_STORE_DOCDECK = 2
} VexathumbStores;

#define VEXATHUMB_LARGEST_SIDE 4096 /* pixels of a box */

/* What is wanted of one source; see vexathumb_request_new(). */
typedef struct VexathumbRequest VexathumbRequest;

/* What was obtained; see vexathumb_picture_free(). */
typedef struct VexathumbPicture VexathumbPicture;

/* ---- The library ---- */

/* The version, as "1.0.0". Stays the library's. */
VEXATHUMB_C_API const char* vexathumb_version(void);

/* A word for a status, such as "missing"; "unknown" for other values. Stays the library's. */
VEXATHUMB_C_API const char* vexathumb_status_name(VexathumbStatus status);

/* Optional: starts now what reads metadata and what renders, which otherwise happens in the first
 * call that needs it. Best before the host starts threads and reads secrets. VEXATHUMB_SYSTEM where
 * it cannot be started; later calls try again. */
VEXATHUMB_C_API VexathumbStatus vexathumb_prepare(void);

/* For a host that runs for long to call now and then, such as once a minute, when nobody waits:
 * keeps the limit of space that free boxes take below a share, and removes what killed processes
 * have left in temporary folders. Mostly returns at once; on a large share it may take minutes, in
 * one process at a time. Failures are silent, and tried again. */
VEXATHUMB_C_API void vexathumb_maintain(void);

/* Frees what a function here says is to be freed with this; NULL is allowed. */
VEXATHUMB_C_API void vexathumb_free(void* memory);

/* ---- A request: one picture of one source ---- */

/* A request for a picture of the file at `path`, which need not exist. With nothing set besides it
 * has no size; it looks in both stores, and makes what is missing.
 *
 * The caller's, for vexathumb_request_free(). NULL with errno EINVAL without a path, ENOMEM without
 * memory. */
VEXATHUMB_C_API VexathumbRequest* vexathumb_request_new(const char* path);

/* The same for a file beneath a share of the settings, named by somebody who is not trusted: `path`
 * is relative to the share, its components joined by single slashes. No component is "..", empty or
 * hidden, and no link is followed below the share, for the source nor for the stored picture: what
 * is not so is VEXATHUMB_MISSING when it is asked for, as what is not there. */
VEXATHUMB_C_API VexathumbRequest* vexathumb_request_new_in_share(const char* share,
                                                                 const char* path);

/* Frees the request, not the pictures that it has obtained. NULL is allowed. */
VEXATHUMB_C_API void vexathumb_request_free(VexathumbRequest* request);

/* Asks for a named size: "small", "medium", "big", "large", "xlarge", or "original", which is the
 * source itself where browsers show its type. Takes the place of a box. VEXATHUMB_INVALID for
 * another name; the request keeps what it had. */
VEXATHUMB_C_API VexathumbStatus vexathumb_request_set_size(VexathumbRequest* request,
                                                           const char* size);

/* Asks for a box of so many pixels, each from 1 to VEXATHUMB_LARGEST_SIDE, into which the picture
 * fits; it is never enlarged. What the camera has embedded, or a fast decoder gives, may be larger
 * than the box. Takes the place of a named size. A source keeps a bounded number of such pictures,
 * as the settings say. VEXATHUMB_INVALID for other sides. */
VEXATHUMB_C_API VexathumbStatus vexathumb_request_set_box(VexathumbRequest* request, uint32_t width,
                                                          uint32_t height);

/* Whether the picture fills its box, and is cut to it from the middle, as avatars are. */
VEXATHUMB_C_API void vexathumb_request_set_fill(VexathumbRequest* request, bool fill);

/* Turns the picture clockwise by quarter turns, any number, negative ones counter-clockwise,
 * besides what its metadata say. */
VEXATHUMB_C_API void vexathumb_request_set_turns(VexathumbRequest* request, int quarter_turns);

/* Looks in these stores only: bits of VexathumbStores. VEXATHUMB_INVALID for other bits. */
VEXATHUMB_C_API VexathumbStatus vexathumb_request_set_stores(VexathumbRequest* request,
                                                             unsigned stores);

/* Whether the photo-album's and the video application's thumbnails serve on shares too that these
 * do not index. */
VEXATHUMB_C_API void vexathumb_request_set_any_share(VexathumbRequest* request, bool any_share);

/* Whether a picture may be made where none is stored; as it may at first. */
VEXATHUMB_C_API void vexathumb_request_set_may_build(VexathumbRequest* request, bool may_build);

/* Whether a smaller stored named size may take the place of the one that cannot be had. */
VEXATHUMB_C_API void vexathumb_request_set_allow_smaller(VexathumbRequest* request,
                                                         bool allow_smaller);

/* Whether an animated GIF stays animated. */
VEXATHUMB_C_API void vexathumb_request_set_animated(VexathumbRequest* request, bool animated);

/* Whether to try what is known to have failed, and to record nothing about it: for a person who has
 * mended something. */
VEXATHUMB_C_API void vexathumb_request_set_try_again(VexathumbRequest* request, bool try_again);

/* For how many seconds to wait for the builds of others, before VEXATHUMB_OVERLOAD; a negative
 * number is any time. At first as the settings say ("patience"). */
VEXATHUMB_C_API void vexathumb_request_set_patience(VexathumbRequest* request, int seconds);

/* What would serve the request now, told without making anything or waiting for anybody:
 * VEXATHUMB_ORIGIN_TO_BE_MADE where it would be made. The statuses are those of
 * vexathumb_request_obtain(), as far as they are known without trying. */
VEXATHUMB_C_API VexathumbStatus vexathumb_request_choose(VexathumbRequest* request,
                                                         VexathumbOrigin* origin);

/* Obtains the picture: finds it, or has it made, and opens it. May be called again, for the same or
 * after other settings; the source is looked at anew each time.
 *
 * With VEXATHUMB_OK `picture` is the caller's, for vexathumb_picture_free(). */
VEXATHUMB_C_API VexathumbStatus vexathumb_request_obtain(VexathumbRequest* request,
                                                         VexathumbPicture** picture);

/* Of the request's last call that failed, "" when it did not: why, a phrase that names no path, so
 * that it may be told to strangers. Stays the request's until its next call. */
VEXATHUMB_C_API const char* vexathumb_request_error_message(const VexathumbRequest* request);

/* The same for what a person can do about it, which may be "" then too. */
VEXATHUMB_C_API const char* vexathumb_request_error_advice(const VexathumbRequest* request);

/* Of VEXATHUMB_POSTPONED: after how many seconds another try is worth its while; 0 where that is
 * not known. */
VEXATHUMB_C_API int64_t vexathumb_request_retry_after(const VexathumbRequest* request);

/* ---- A picture ---- */

/* The picture is open: its descriptor, its length and its bytes are of one and the same file,
 * whatever has become of its name since. */

/* Closes it, and removes its file where that was made for this request alone; a fork of the process
 * that obtained it closes its copy. NULL is allowed. */
VEXATHUMB_C_API void vexathumb_picture_free(VexathumbPicture* picture);

/* Its absolute path. Stays the picture's. */
VEXATHUMB_C_API const char* vexathumb_picture_path(const VexathumbPicture* picture);

/* Whether its file is gone after vexathumb_picture_free(). */
VEXATHUMB_C_API bool vexathumb_picture_is_temporary(const VexathumbPicture* picture);

/* Its type, such as "image/jpeg". Stays the picture's. */
VEXATHUMB_C_API const char* vexathumb_picture_mime(const VexathumbPicture* picture);

/* Where it comes from, as VEXATHUMB_ORIGIN_DOCDECK. */
VEXATHUMB_C_API VexathumbOrigin vexathumb_picture_origin(const VexathumbPicture* picture);

/* Whether it shows only what could be read of a source that is cut short. */
VEXATHUMB_C_API bool vexathumb_picture_is_damaged(const VexathumbPicture* picture);

/* Its length in bytes. */
VEXATHUMB_C_API uint64_t vexathumb_picture_bytes(const VexathumbPicture* picture);

/* Its pixels as displayed. Read when they are first asked for. VEXATHUMB_UNUSABLE where they cannot
 * be told. */
VEXATHUMB_C_API VexathumbStatus vexathumb_picture_size(const VexathumbPicture* picture,
                                                       uint32_t* width, uint32_t* height);

/* Its open file, for reading. Stays the picture's: to keep it, dup(2) it. Its offset is the
 * caller's; the functions here do not use it. -1 without a picture. */
VEXATHUMB_C_API int vexathumb_picture_descriptor(const VexathumbPicture* picture);

/* Reads up to `size` bytes from `offset` on into the caller's buffer; `count` is how many there
 * were, less than `size` only at the end. VEXATHUMB_SYSTEM when it cannot be read. */
VEXATHUMB_C_API VexathumbStatus vexathumb_picture_read(const VexathumbPicture* picture,
                                                       uint64_t offset, void* buffer, size_t size,
                                                       size_t* count);

/* Reads all of it. `bytes` is the caller's, for vexathumb_free(). */
VEXATHUMB_C_API VexathumbStatus vexathumb_picture_load(const VexathumbPicture* picture,
                                                       void** bytes, size_t* size);

/* Writes it to the file `path`, which has the picture when it is whole, or stays as it was. A link
 * is followed, a device or a pipe is written to. VEXATHUMB_SYSTEM when it cannot be written. */
VEXATHUMB_C_API VexathumbStatus vexathumb_picture_save(const VexathumbPicture* picture,
                                                       const char* path);

#ifdef __cplusplus
}
#endif

#endif /* VEXATHUMB_BINDINGS_C_VEXATHUMB_H_ */
