// A library that is not a plug-in.
extern "C" __declspec(dllexport) int something_else() { return 7; }
