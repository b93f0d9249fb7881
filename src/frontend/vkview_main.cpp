// vkview: draws PVR textures and PVM archives as PNG pictures (see the usage
// text).
#include "frontend/view.h"

int main(int argc, char **argv) { return RunViewer(argc, argv); }
