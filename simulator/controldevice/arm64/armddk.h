// The headers for drivers include this file for ARM, and do not have it. The driver needs nothing
// of it.
