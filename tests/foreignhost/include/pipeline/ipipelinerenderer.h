#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <string>

#include "harbour/export.h"
#include "kovra/time.h"

namespace Media {

class PipelineStageRenderJob;
class PipelineState;
struct PipelineSessionParams_t;

/// Whatever runs in this host has a name and can be asked how it is.
class HARBOUR_API Component {
public:
    virtual ~Component();
    virtual std::string TellOfItself() const;

private:
    std::string name_ = "component";
};

class HARBOUR_API IPipelineRenderer : public Component {
public:
    struct Params_t {
        enum Type_t { Light, Audio };
        enum SubType_t { File, System };

        bool isUrgent = false;
        Kovra::JiffyTime presentationTime;
    };

    ~IPipelineRenderer() override;
    virtual void Divide(boost::intrusive_ptr<PipelineStageRenderJob> const& job) = 0;
    virtual void RegisterSession(PipelineSessionParams_t& params,
                                 boost::intrusive_ptr<PipelineState>& state) = 0;
    virtual Params_t::SubType_t GetSubType() const = 0;
    virtual Params_t::Type_t GetType() const = 0;
    virtual bool IsEnabled() const = 0;
    virtual int Initialize() = 0;
    virtual void Shutdown() = 0;

private:
    long long reserved_[3] = {};
};

} // namespace Media
