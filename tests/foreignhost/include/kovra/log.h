#pragma once

#include <memory>
#include <string>

#include "harbour/export.h"

namespace Kovra {

enum class LogLevel_t : unsigned char { Debug = 7, Info = 6 };

struct CodeLocation {
    constexpr CodeLocation(char const* file, char const* function, int line)
        : at(line), place(file), inside(function) {}
    int at;
    char const* place;
    char const* inside;
};

/// The text grows with every argument; those that have no place are added at the end.
class HARBOUR_API LogExec {
public:
    LogExec(LogLevel_t const& level, std::string const& text);
    LogExec& operator%(long long argument);
    void At(CodeLocation const& location);

private:
    friend class LoggerFacade;

    std::string text_;
    LogLevel_t level_;
};

/// A channel, its own logger.
class HARBOUR_API LoggerFacade {
public:
    explicit LoggerFacade(std::string channel);
    bool IsEnabled(LogLevel_t level) const noexcept;
    LoggerFacade& get() const { return const_cast<LoggerFacade&>(*this); }
    void Push(LogExec const& record);

private:
    std::string channel_;
};

class HARBOUR_API LogManager {
public:
    static LogManager& Instance();
    std::shared_ptr<LoggerFacade> GetLogger(std::string const& channel, void const* parent,
                                            std::string const& configuration);
};

} // namespace Kovra
