// trelvikctl: the operator's client. Exit status: 0 done, 1 refused or failed, 2 wrong command line, 3 no
// daemon, 4 no answer.
#include <cstdio>
#include <exception>

#include "commands/CommandLine.h"

int main(int argc, char** argv) {
  try {
    return ctl::perform(argc, argv);
  } catch (const std::exception& error) {
    fprintf(stderr, "trelvikctl: stopped (%s): see whether there is enough memory\n", error.what());
  } catch (...) {
    fputs("trelvikctl: stopped for a reason that it does not know: report how it was called\n", stderr);
  }
  return 1;
}
