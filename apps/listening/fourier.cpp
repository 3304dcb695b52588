#include "listening/fourier.h"

#include <stdexcept>

extern "C" {
#include <libavutil/tx.h>
}

namespace Listening {

std::size_t TransformSizeFor(std::size_t count) {
    std::size_t size = 1;
    while (size < count) {
        size *= 2;
    }
    return size;
}

ComplexSamples Transform(ComplexSamples& input, bool isInverse) {
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    float const scale = 1.0F;
    if (av_tx_init(&context, &transform, AV_TX_FLOAT_FFT, isInverse ? 1 : 0, static_cast<int>(input.size()),
                   &scale, AV_TX_UNALIGNED) < 0) {
        throw std::runtime_error("the Fourier transform cannot be set up");
    }
    ComplexSamples output(input.size());
    transform(context, output.data(), input.data(), sizeof(AVComplexFloat));
    av_tx_uninit(&context);
    return output;
}

} // namespace Listening
