#include <dlfcn.h>

// Stands in for the system's dlclose in programs under the address sanitizer: a library that stays loaded keeps
// its name in a report of leaks. The drawing drivers go with their last display and would leave frames that
// nobody can name, nor tests/support/lsan.supp suppress.
extern "C" __attribute__((visibility("default"))) int dlclose(void* /*library*/) noexcept
{
    return 0;
}
