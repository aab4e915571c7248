// A store to address 0, written as machine code so that no sanitizer check
// runs before the instruction: the fault is the processor's.
#include "dispatchsupport.h"

asm(R"(
    .text
    .globl vrqtDispatchTestStoreNull
    .type vrqtDispatchTestStoreNull, @function
vrqtDispatchTestStoreNull:
    movb $1, 0
    ret
    .size vrqtDispatchTestStoreNull, .-vrqtDispatchTestStoreNull
)");

namespace dispatchtest {

void faultingCall(void *)
{
    vrqtDispatchTestStoreNull();
}

} // namespace dispatchtest
