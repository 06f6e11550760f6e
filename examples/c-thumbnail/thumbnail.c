/* Writes the thumbnail of a photo to a file.
 *   thumbnail PHOTO SIZE FILE
 */
#include <stdio.h>
#include <vexathumb.h>

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: thumbnail PHOTO small|medium|big|large|xlarge FILE\n");
    return 2;
  }
  int result = 1;
  VexathumbPicture* picture = NULL;
  VexathumbRequest* request = vexathumb_request_new(argv[1]);
  if (vexathumb_request_set_size(request, argv[2]) != VEXATHUMB_OK) {
    fprintf(stderr, "%s: there is no such size\n", argv[2]);
  } else if (vexathumb_request_obtain(request, &picture) != VEXATHUMB_OK) {
    fprintf(stderr, "%s: %s\n", argv[1], vexathumb_request_error_message(request));
  } else if (vexathumb_picture_save(picture, argv[3]) != VEXATHUMB_OK) {
    fprintf(stderr, "%s: cannot be written\n", argv[3]);
  } else {
    printf("%s, %llu bytes\n", vexathumb_picture_mime(picture),
           (unsigned long long)vexathumb_picture_bytes(picture));
    result = 0;
  }
  vexathumb_picture_free(picture);
  vexathumb_request_free(request);
  return result;
}
