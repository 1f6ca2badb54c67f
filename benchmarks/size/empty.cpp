// A host app that does nothing: what the others have grown by is beyond this.
int main() {}
