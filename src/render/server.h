#ifndef VEXATHUMB_RENDER_SERVER_H_
#define VEXATHUMB_RENDER_SERVER_H_

namespace vexathumb::render {

// Takes jobs from a socket and forks a process for each, so many at once as suit the machine, until
// nobody is left who could send one; what runs then is killed. Must be called where no other thread
// is, after what the jobs need has been prepared.
void Serve(int socket);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_SERVER_H_
