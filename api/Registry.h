#pragma once
// The instance registry shared by the entry points.

class PathTracer;

// The instance of a handle, or null when the handle is not registered.
PathTracer* findPathTracer(unsigned int handle);
