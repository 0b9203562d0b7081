// Builds the tests' shared precompiled header (TestPch.h); holds no code of its own.
