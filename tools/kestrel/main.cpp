// kestrel: inspect and maintain a KestrelDatabase home from the command line.
// The commands, their options and exit statuses are described in Run.cpp.
#include "Run.h"

int main(int argc, char** argv) {
  return kestrel::tool::run(argc, argv);
}
