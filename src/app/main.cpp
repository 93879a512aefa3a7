#include "app/dispatcher.h"
#include "platform/process.h"

int main(int argc, char** argv) {
  kestrune::PrepareProcess();
  kestrune::ApplicationContext context;
  return kestrune::Dispatch(context, argc, argv).Succeeded() ? 0 : -1;
}
