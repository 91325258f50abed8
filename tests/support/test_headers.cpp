// This file is empty on purpose. The headers precompiled for it are shared by all test programs.
