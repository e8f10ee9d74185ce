#include "QuilmarkResources.h"

#include <QtGlobal>

#include <mutex>

// Q_INIT_RESOURCE must be used outside any namespace; in a static library it is
// also what keeps the linker from dropping the resource data.
static void InitQuilmarkQrc() {
    Q_INIT_RESOURCE(quilmark);
}

void QuilmarkInitResources() {
    static std::once_flag s_once;
    std::call_once(s_once, InitQuilmarkQrc);
}
