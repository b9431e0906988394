#include "roles.h"

#include <algorithm>
#include <array>

namespace Zendra::Runner
{

namespace
{

// In the order of AtspiRole, which is part of the protocol.
constexpr std::array<const char*, 131> atspiRoles = {"invalid", "accelerator-label", "alert", "animation",
    "arrow", "calendar", "canvas", "check-box", "check-menu-item", "color-chooser", "column-header",
    "combo-box", "date-editor", "desktop-icon", "desktop-frame", "dial", "dialog", "directory-pane",
    "drawing-area", "file-chooser", "filler", "focus-traversable", "font-chooser", "frame", "glass-pane",
    "html-container", "icon", "image", "internal-frame", "label", "layered-pane", "list", "list-item", "menu",
    "menu-bar", "menu-item", "option-pane", "page-tab", "page-tab-list", "panel", "password-text",
    "popup-menu", "progress-bar", "push-button", "radio-button", "radio-menu-item", "root-pane", "row-header",
    "scroll-bar", "scroll-pane", "separator", "slider", "spin-button", "split-pane", "status-bar", "table",
    "table-cell", "table-column-header", "table-row-header", "tearoff-menu-item", "terminal", "text",
    "toggle-button", "tool-bar", "tool-tip", "tree", "tree-table", "unknown", "viewport", "window",
    "extended", "header", "footer", "paragraph", "ruler", "application", "autocomplete", "editbar",
    "embedded", "entry", "chart", "caption", "document-frame", "heading", "page", "section",
    "redundant-object", "form", "link", "input-method-window", "table-row", "tree-item",
    "document-spreadsheet", "document-presentation", "document-text", "document-web", "document-email",
    "comment", "list-box", "grouping", "image-map", "notification", "info-bar", "level-bar", "title-bar",
    "block-quote", "audio", "video", "definition", "article", "landmark", "log", "marquee", "math", "rating",
    "timer", "static", "math-fraction", "math-root", "subscript", "superscript", "description-list",
    "description-term", "description-value", "footnote", "content-deletion", "content-insertion", "mark",
    "suggestion", "push-button-menu", "switch"};

/// A short name and what it stands for; the first that has a role names it in messages.
struct ShortName {
    const char* name;
    std::vector<const char*> roles;
};

const std::vector<ShortName>& shortNames()
{
    static const std::vector<ShortName> names
        = {{"button", {"push-button", "toggle-button", "push-button-menu"}},
            {"checkbox", {"check-box", "switch"}}, {"radio", {"radio-button"}}, {"tab", {"page-tab"}},
            {"item", {"menu-item", "check-menu-item", "radio-menu-item", "tearoff-menu-item"}},
            {"menu", {"menu", "popup-menu"}}, {"list", {"list", "list-box"}},
            {"row", {"table-row", "list-item", "tree-item"}}, {"cell", {"table-cell"}},
            {"combo", {"combo-box"}}, {"link", {"link"}}, {"label", {"label", "static"}},
            {"image", {"image", "icon"}}, {"slider", {"slider"}},
            {"dialog", {"dialog", "alert", "file-chooser", "color-chooser", "font-chooser"}},
            {"window",
                {"frame", "window", "dialog", "alert", "file-chooser", "color-chooser", "font-chooser",
                    "internal-frame"}},
            {"field", {"entry", "text", "password-text", "spin-button", "editbar", "autocomplete"}}};
    return names;
}

int roleNumber(const QString& name)
{
    const auto* found = std::find_if(atspiRoles.begin(), atspiRoles.end(),
        [&name](const char* role) { return name == QLatin1String(role); });
    return found == atspiRoles.end() ? -1 : static_cast<int>(found - atspiRoles.begin());
}

} // namespace

QString roleName(int role)
{
    const bool isKnown = role >= 0 && role < static_cast<int>(atspiRoles.size());
    return QLatin1String(isKnown ? atspiRoles[static_cast<std::size_t>(role)] : "unknown");
}

QString shortRoleName(int role)
{
    const QString name = roleName(role);
    for (const ShortName& candidate : shortNames()) {
        for (const char* const meant : candidate.roles) {
            if (name == QLatin1String(meant))
                return QLatin1String(candidate.name);
        }
    }
    return name;
}

std::vector<int> rolesNamed(const QString& name)
{
    std::vector<int> roles;
    for (const ShortName& candidate : shortNames()) {
        if (name != QLatin1String(candidate.name))
            continue;
        for (const char* const meant : candidate.roles)
            roles.push_back(roleNumber(QLatin1String(meant)));
        return roles;
    }
    if (const int role = roleNumber(name); role >= 0)
        roles.push_back(role);
    return roles;
}

const QStringList& roleNames()
{
    static const QStringList names = [] {
        QStringList all;
        for (const ShortName& name : shortNames())
            all.append(QLatin1String(name.name));
        for (const char* const role : atspiRoles) {
            if (!all.contains(QLatin1String(role)))
                all.append(QLatin1String(role));
        }
        return all;
    }();
    return names;
}

const QStringList& stateNames()
{
    // In the order of AtspiStateType, which is part of the protocol.
    static const QStringList names
        = QStringLiteral("invalid active armed busy checked collapsed defunct editable enabled expandable "
                         "expanded focusable focused has-tooltip horizontal iconified modal multi-line "
                         "multiselectable opaque pressed resizable selectable selected sensitive showing "
                         "single-line stale transient vertical visible manages-descendants indeterminate "
                         "required truncated animated invalid-entry supports-autocompletion "
                         "selectable-text is-default visited checkable has-popup read-only")
              .split(QLatin1Char(' '));
    return names;
}

int stateNamed(const QString& name)
{
    return stateNames().indexOf(name);
}

QStringList toNames(StateSet states)
{
    QStringList names;
    for (int state = 0; state < stateNames().size(); ++state) {
        if (hasState(states, state))
            names.append(stateNames().at(state));
    }
    return names;
}

} // namespace Zendra::Runner
