#ifndef VEXATHUMB_RENDER_MODULES_H_
#define VEXATHUMB_RENDER_MODULES_H_

namespace vexathumb::render {

// Loaders that libvips keeps apart, as modules. At its start it would load all that are installed,
// with the libraries of formats that are never rendered, which takes longer than the rest of the
// start: those that are rendered are loaded when a picture is about to need one, before the process
// is forked that decodes it.

// Has libvips load none by itself; to be called before it is initialised.
void LeaveModulesOut();

// Loads what the picture's first bytes call for, once.
void LoadModulesFor(int source);

void LoadAllModules();

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_MODULES_H_
