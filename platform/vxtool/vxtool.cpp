// The tool library stands among the libraries that the link library needs at load. Nothing in it is called by
// the link, so an empty one serves.

extern "C" __attribute__((visibility("default"))) const char vxtool16_version[] = "16.0.0";
