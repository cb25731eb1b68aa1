#pragma once

/// How often this program has asked operator new for memory. The module allocates through it as well.
long AllocationCount();
