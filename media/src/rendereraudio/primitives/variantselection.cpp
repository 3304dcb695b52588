#include "primitives/variantselection.h"

#include "primitives/processor.h"

namespace Media::Primitives {

namespace {

bool HasAll(std::uint64_t features, std::uint64_t wanted) {
    return (features & wanted) == wanted;
}

Selection SelectByFeatures(std::uint64_t features) {
    if (HasAll(features, Feature::Avx | Feature::AvxEnabled)) {
        return {VariantIndex::Avx, SelectionWarning::None};
    }
    if (HasAll(features, Feature::Sse41)) {
        return {VariantIndex::Sse41, SelectionWarning::None};
    }
    if (HasAll(features, Feature::Movbe | Feature::Ssse3)) {
        return {VariantIndex::Ssse3Movbe, SelectionWarning::None};
    }
    if (HasAll(features, Feature::Ssse3)) {
        return {VariantIndex::Ssse3, SelectionWarning::None};
    }
    if (HasAll(features, Feature::Sse3)) {
        return {VariantIndex::Sse3, SelectionWarning::None};
    }
    return {VariantIndex::Baseline, SelectionWarning::NoSse3};
}

} // namespace

Selection SelectVariant(std::optional<std::uint64_t> features, std::string const& vendor) {
    if (!features) {
        return {VariantIndex::Baseline, SelectionWarning::None};
    }
    Selection selection = SelectByFeatures(*features);
    if (vendor != IntelVendor) {
        selection.warning = SelectionWarning::OtherVendor;
    }
    return selection;
}

bool CanRunVariant(std::uint32_t index, std::uint64_t features) {
    switch (index) {
        case VariantIndex::Baseline:
        case VariantIndex::Sse3:
            return true;
        case VariantIndex::Ssse3:
        case VariantIndex::Ssse3Movbe:
            return HasAll(features, Feature::Ssse3);
        case VariantIndex::Sse41:
            return HasAll(features, Feature::Sse41);
        case VariantIndex::Avx:
            return HasAll(features, Feature::Avx | Feature::AvxEnabled);
        default:
            return false;
    }
}

} // namespace Media::Primitives
