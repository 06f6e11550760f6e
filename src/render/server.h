#ifndef VEXATHUMB_RENDER_SERVER_H_
#define VEXATHUMB_RENDER_SERVER_H_

namespace vexathumb::render {

// Says that it is ready, takes jobs from a socket and forks a process for each, so many at once as
// suit the machine, until nobody is left who could send one; what runs then is killed. Must be
// called where no other thread is, after what the jobs need has been prepared.
void Serve(int socket);

// Says why there will be no server.
void Decline(int socket, const char* why);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_SERVER_H_
