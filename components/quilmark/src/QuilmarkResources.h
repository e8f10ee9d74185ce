#pragma once

// Registers the skin and language resources compiled into this static library.
// Safe to call any number of times, from any thread.
void QuilmarkInitResources();
