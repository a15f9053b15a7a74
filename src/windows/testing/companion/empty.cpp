// A companion library without the entry points that are looked for.

extern "C" __declspec(dllexport) int somethingElse() {
  return 0;
}
