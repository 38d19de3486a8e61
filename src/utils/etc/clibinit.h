// The empty base of the objects that are built when a library is loaded or a call begins. It has no state and
// no operations; it marks what may be built before main.
#pragma once

class CLibInit {};
