// A library with one symbol inside the namespace and one outside, for the export check's own test.
namespace veyrakit {
__attribute__((visibility("default"))) int probeInside() { return 1; }
}  // namespace veyrakit

__attribute__((visibility("default"))) int probeOutside() { return 2; }
