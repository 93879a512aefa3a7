/// Asks the C run-time library to put the files that a wildcard stands for into main's arguments, as shells
/// do on other systems.
extern "C" int _dowildcard;
int _dowildcard = -1;
