// Has nothing of its own: the target that it belongs to compiles the headers that all tests share.
