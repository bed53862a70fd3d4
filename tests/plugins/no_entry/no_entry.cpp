// A library that is no plug-in.
extern "C" __declspec(dllexport) int something_else() { return 7; }
