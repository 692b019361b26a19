#pragma once

#include <host/tool/machine/Figure.hpp>
#include <host/tool/machine/Growth.hpp>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::host {

/// The figures of this machine, from the kernel's files, and those of this process, which need no file:
///
///     load       {"minutes": 1, 5 or 15}   tasks
///     processor  {"core": number}          percent of its time that it was busy
///     memory                               percent that is in use
///     network    {"interface": name}       bytes each second, both ways
///     disk       {"device": name}          bytes each second, both ways
///     process    {"id": number}            percent of one core's time
///
/// A file that is missing or of an unknown form is left out. Interfaces without any traffic and devices that were never
/// used are left out too.
class MachineFigures final : public FigureSource {
public:
    /// \param kernelFiles  the folder of the kernel's files.
    explicit MachineFigures(std::filesystem::path kernelFiles = "/proc") : kernelFiles_{std::move(kernelFiles)} {}

    [[nodiscard]] std::vector<Figure> sample(double now) override;

private:
    [[nodiscard]] std::string contentOf(std::string_view file) const;
    [[nodiscard]] Growth& growthOf(std::string_view kind, std::string_view name);

    void sampleLoad(std::vector<Figure>& figures) const;
    void sampleProcessors(std::vector<Figure>& figures, double now);
    void sampleMemory(std::vector<Figure>& figures) const;
    void sampleNetwork(std::vector<Figure>& figures, double now);
    void sampleDisks(std::vector<Figure>& figures, double now);
    void sampleProcess(std::vector<Figure>& figures, double now);

    std::filesystem::path kernelFiles_;
    std::map<std::string, Growth, std::less<>> growths_;
};

} // namespace vexa::host
