// A DLL of nothing: what loading takes at least.
