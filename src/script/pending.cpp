// On their way.
#include "script/arrays.h"
#include "script/ex.h"

__attribute__((weak)) bool whole_array_operation(int) { return false; }
namespace ex {
__attribute__((weak)) double matexp()   { return 0; }
__attribute__((weak)) double spearman() { return 0; }
}
