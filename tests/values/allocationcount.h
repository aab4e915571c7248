// Allocations made with operator new and not yet freed, in the whole test
// program (main.cpp replaces the global allocation functions).
#pragma once

long LiveAllocations();
