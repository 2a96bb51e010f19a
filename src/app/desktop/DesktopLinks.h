#pragma once

#include <string>

#include "core/base/Log.h"
#include "core/base/ObserverList.h"
#include "core/base/Uuid.h"
#include "core/triggers/URLSchemeHandler.h"

namespace wordloom {

class AtspiAccessibilityService;
class DesktopShell;
class ExpansionEngine;
class SettingsStore;
class SnippetStore;

/// Acts on the wordloom:// links that `wordloom open-url` hands to the running instance:
/// expands a snippet at the caret of the focused window (or copies it), opens quick create
/// filled in, quick search with the query, the clipboard history, or the library window with
/// a snippet selected. A refused link is told to the user, not only to the terminal that may
/// not exist (a link clicked in a browser).
class DesktopLinks {
  public:
    DesktopLinks(SnippetStore& snippets, SettingsStore& settings, ExpansionEngine& engine,
                 DesktopShell& shell, AtspiAccessibilityService& accessibility);
    DesktopLinks(const DesktopLinks&) = delete;
    DesktopLinks& operator=(const DesktopLinks&) = delete;

    RouteOutcome open(const std::string& url);

    /// "WordloomSelectSnippetFromURL": a link asked for this snippet in the library window,
    /// which subscribes to bring itself forward with it selected. While nothing subscribes,
    /// such links are refused.
    ObserverList<const Uuid&> selectSnippetFromURL;

  private:
    URLSchemeHandler::Actions actions();

    SnippetStore& snippets_;
    SettingsStore& settings_;
    ExpansionEngine& engine_;
    DesktopShell& shell_;
    AtspiAccessibilityService& accessibility_;
    Logger logger_{"DesktopLinks"};
    URLSchemeHandler handler_;
};

}  // namespace wordloom
