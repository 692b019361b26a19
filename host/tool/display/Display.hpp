#pragma once

#include <host/tool/demo/DemoReport.hpp>

#include <memory>

namespace vexa::host {

/// Shows a demonstration to whoever reads the standard output. For one thread at a time.
class Display {
public:
    virtual ~Display() = default;

    /// How often update() is to be called, in seconds.
    [[nodiscard]] virtual double interval() const = 0;

    virtual void happened(const DemoEvent& event) = 0;
    virtual void update(const DemoSnapshot& snapshot) = 0;

    /// Shows how it went. Nothing is called afterwards.
    virtual void finish(const DemoSnapshot& last, const DemoSummary& summary) = 0;
};

} // namespace vexa::host
