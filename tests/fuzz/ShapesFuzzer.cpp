// Any operation with regions and shapes of every kind.

#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    static const trust::Inputs base = trust::someInputs(19, 13, NoxDataType16U, false);
    const fuzz::SmallMachine machine;
    fuzz::Data data(bytes, size);
    trust::Inputs in = base;
    trust::Outputs out;
    fuzz::numbers(data, in);
    in.roi = fuzz::region(data);
    in.shape = fuzz::shape(data);
    fuzz::call(data, in, out);
    return 0;
}
