#include "listening/search/fourier.h"

#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

extern "C" {
#include <libavutil/tx.h>
}

namespace Listening {

namespace {

struct Uninit {
    void operator()(AVTXContext* context) const { av_tx_uninit(&context); }
};

/// A transform of one size and direction: to set it up takes longer than to use it.
struct Plan {
    std::unique_ptr<AVTXContext, Uninit> context;
    av_tx_fn transform = nullptr;
};

Plan MakePlan(std::size_t size, bool isInverse) {
    AVTXContext* context = nullptr;
    Plan plan;
    float const scale = 1.0F;
    if (av_tx_init(&context, &plan.transform, AV_TX_FLOAT_FFT, isInverse ? 1 : 0, static_cast<int>(size),
                   &scale, AV_TX_UNALIGNED) < 0) {
        throw std::runtime_error("the Fourier transform cannot be set up");
    }
    plan.context.reset(context);
    return plan;
}

/// The plans made so far. One thread uses them at a time: the library does not say that more may.
class Plans {
public:
    void Run(ComplexSamples& input, bool isInverse, ComplexSamples& output) {
        std::lock_guard<std::mutex> const guard(lock_);
        Plan& plan = plans_[{input.size(), isInverse}];
        if (!plan.context) {
            plan = MakePlan(input.size(), isInverse);
        }
        plan.transform(plan.context.get(), output.data(), input.data(), sizeof(AVComplexFloat));
    }

private:
    std::mutex lock_;
    // --- guarded by lock
    std::map<std::pair<std::size_t, bool>, Plan> plans_;
};

} // namespace

std::size_t TransformSizeFor(std::size_t count) {
    std::size_t size = 1;
    while (size < count) {
        size *= 2;
    }
    return size;
}

ComplexSamples Transform(ComplexSamples& input, bool isInverse) {
    static Plans plans;
    ComplexSamples output(input.size());
    plans.Run(input, isInverse, output);
    return output;
}

} // namespace Listening
