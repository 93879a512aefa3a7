#include "platform/process.h"
#include "report/report_program.h"

int main(int argc, char** argv) {
  kestrune::PrepareProcess();
  return kestrune::report::RunReport(argc, argv);
}
