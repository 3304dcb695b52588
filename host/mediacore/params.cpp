#include "mediacore/params.h"

namespace Media {

ParamsAud::ParamsAud(MediaCoding_t coding) : coding_(coding) {}

ParamsAud::~ParamsAud() = default;

void ParamsAud::SetParamsAud(std::uint32_t frequency, std::uint32_t channels, std::uint32_t bits) {
    frequency_ = frequency;
    channels_ = channels;
    bits_ = bits;
}

void intrusive_ptr_add_ref(ParamsAud const* params) {
    params->references_.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(ParamsAud const* params) {
    if (params->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete params;
    }
}

ParamsAudRaw::ParamsAudRaw() : ParamsAud(MediaCoding_t::RawPcm) {}

ParamsAudRaw::~ParamsAudRaw() = default;

} // namespace Media
