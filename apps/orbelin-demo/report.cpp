#include <iostream>

#include "demo.h"

namespace orbelin::demo {

int runReport(const DemoOptions& /*options*/) {
  std::cout << "report: not built yet\n";
  return kExitSuccess;
}

}  // namespace orbelin::demo
