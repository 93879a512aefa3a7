#include "app/dispatcher.h"

int main(int argc, char** argv) {
  kestrune::ApplicationContext context;
  return kestrune::Dispatch(context, argc, argv).Succeeded() ? 0 : -1;
}
