// vkconv: converts one model file per run (see the usage text).
#include "frontend/driver.h"

int main(int argc, char **argv) { return RunConverter(argc, argv); }
