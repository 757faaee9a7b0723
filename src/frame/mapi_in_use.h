// The refusal to run beside other users of MAPI.
#pragma once

// Whether another program has a MAPI library loaded. If so, prints a heading and the image name of
// each such program once, in ordinal order. Processes with this program's own image name (any
// letter case) never count, nor do those that cannot be opened or read; when the process list
// itself cannot be read, the answer is false.
bool MapiInUse();
