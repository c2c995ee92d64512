// Placeholder translation unit so the library has at least one object while
// the runtime is being written; removed once platform/ has real sources.
namespace mlr {
int BuildInfoPlaceholder() { return 0; }
}  // namespace mlr
