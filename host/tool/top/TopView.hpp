#pragma once

#include <host/tool/display/Terminal.hpp>
#include <host/tool/top/ScreenText.hpp>
#include <host/tool/top/ServiceSample.hpp>
#include <host/tool/top/TopicColumns.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// What a live view of a service shows: keeps the newest sample and what the person at the keys has chosen, and makes
/// the lines of the screen from it. It knows nothing of terminals. For one thread at a time.
class TopView {
public:
    /// \param hasUnicode  whether the screen shows more than ASCII
    TopView(std::string url, TopicOrder order, bool hasUnicode);

    /// The service has answered.
    void sampled(ServiceSample sample);

    /// It has not, for a reason that is a sentence without a full stop.
    void failed(std::string reason);

    /// Does what a key is for. Returns whether the view goes on.
    [[nodiscard]] bool press(const Key& key);

    /// The screen, with as many lines as it is high, or fewer.
    [[nodiscard]] std::vector<ScreenLine> lines(const TerminalSize& size);

private:
    struct Shown {
        ServiceSample sample;
        std::optional<ServiceRates> rates;
    };

    void pressWhileFiltering(const Key& key);
    [[nodiscard]] bool pressCharacter(char32_t character);
    void scroll(const Key& key);
    void orderBy(std::size_t place);
    void togglePause();

    /// Chooses and orders the topics anew.
    void arrange();
    void clampScroll(std::size_t rows);

    [[nodiscard]] ScreenLine titleLine(std::size_t width) const;
    [[nodiscard]] ScreenLine headsLine(std::size_t width) const;
    [[nodiscard]] ScreenLine rowLine(const TopicSample& topic, std::size_t width) const;
    [[nodiscard]] ScreenLine footLine(std::size_t width, std::size_t rows) const;
    void addHeading(std::vector<ScreenLine>& lines, std::size_t width) const;
    void addState(std::vector<ScreenLine>& lines, std::size_t width) const;
    void addKeys(std::vector<ScreenLine>& lines, const TerminalSize& size) const;
    [[nodiscard]] std::size_t nameColumns(std::size_t width) const;

    const std::string url_;
    const bool hasUnicode_;
    TopicOrder order_;
    std::string filter_;
    std::string failure_;                  ///< why there is no answer now; empty when there is one
    std::shared_ptr<const Shown> latest_;  ///< null before the first answer
    std::shared_ptr<const Shown> shown_;   ///< which stays while the view is paused
    std::vector<const TopicSample*> rows_; ///< of `shown_`, in order
    std::size_t firstRow_ = 0;
    std::size_t firstNameColumn_ = 0;
    std::size_t visibleRows_ = 1; ///< on the screen as it was drawn last
    bool isPaused_ = false;
    bool isFiltering_ = false; ///< whether keys write the filter
    bool showsKeys_ = false;
};

} // namespace vexa::host
