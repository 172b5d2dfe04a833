#include <qor/handler.h>

int main(int argc, char** argv) {
  qor::Handler handler;
  handler.On("greet", [](qor::Command command) { command.Succeed(R"({"text":"hello"})"); });
  return handler.Run(argc, argv);
}
