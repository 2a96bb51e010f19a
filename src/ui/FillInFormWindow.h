#pragma once

#include <QWidget>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/expansion/DesktopServices.h"

namespace wordloom {

/// The form that asks for a snippet's fill-in values: one control per distinct value key (a
/// line, a text area, a drop-down or a check box), pre-filled with the defaults. Return (or
/// Ctrl+Return in a text area) submits, Escape or closing the window cancels.
class FillInFormWindow final : public QWidget {
  public:
    using Done = std::function<void(std::optional<std::vector<FillInField>>)>;

    FillInFormWindow(const std::string& title, std::vector<FillInField> fields, Done done);

    /// For tests and tools: the control editing `valueKey`.
    QWidget* editorFor(const std::string& valueKey) const;
    void submit();
    void cancel();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void finish(std::optional<std::vector<FillInField>> result);

    std::vector<FillInField> fields_;
    std::map<std::string, QWidget*> editors_;
    Done done_;
};

/// Presents FillInFormWindow; `aboutToReturn` runs after the form closed and before the
/// values go back (the app uses it to give focus back to the window typed into).
class QtFillInFormPresenter final : public FillInFormPresenter {
  public:
    explicit QtFillInFormPresenter(std::function<void()> aboutToReturn = {})
        : aboutToReturn_(std::move(aboutToReturn)) {}
    void present(const std::string& title, const std::vector<FillInField>& fields,
                 std::function<void(std::optional<std::vector<FillInField>>)> done) override;

  private:
    std::function<void()> aboutToReturn_;
};

}  // namespace wordloom
