// A companion library without the entry points that are looked for.

extern "C" __attribute__((visibility("default"))) int somethingElse() {
  return 0;
}
