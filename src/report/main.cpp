#include "platform/heap.h"
#include "platform/process.h"
#include "report/report_program.h"

int main(int argc, char** argv) {
  kestrune::PrepareProcess();
  kestrune::ReturnFreedBlocks();
  return kestrune::report::RunReport(argc, argv);
}
