// What starting any program costs: a statically linked one that does nothing.
int main(void) {
  return 0;
}
