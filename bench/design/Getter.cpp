// Alone in its file, as OS() is.

#include "Design.h"

bench::Design* bench::design() {
    return builtInDesign();
}
