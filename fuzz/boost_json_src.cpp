// Boost.JSON compiled into the fuzzer binaries themselves: the packaged shared
// library is not instrumented, so coverage and sanitizers would stop at its
// border. These definitions take precedence over the shared library's.
#include <boost/json/src.hpp>
