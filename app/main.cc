#include <string>
#include <vector>

#include "app/start_up.h"

int main(int argc, char** argv) {
  return wk::run_program(std::vector<std::string>(argv, argv + argc));
}
