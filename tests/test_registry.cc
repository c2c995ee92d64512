// Linked into every test program: before any test runs, MLR_REGISTRY names
// a registry file of the build tree that nothing writes, so tests never read
// the user's registry (a library registered there would, for example, serve
// the API entry table). Tests that need a registry set their own.
#include <cstdlib>

namespace {

[[maybe_unused]] const bool kOwnRegistry = setenv("MLR_REGISTRY", MLR_TEST_REGISTRY, 1) == 0;

}  // namespace
