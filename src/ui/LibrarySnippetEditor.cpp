#include "ui/LibrarySnippetEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "core/base/EnumCoding.h"
#include "core/library/GroupTree.h"
#include "core/library/SnippetEditCheck.h"
#include "core/library/SnippetListing.h"
#include "core/library/SnippetStore.h"
#include "ui/LibraryMacroBuilder.h"

namespace wordloom {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

QLabel* buddyLabel(const QString& text, QWidget* buddy) {
    auto* label = new QLabel(text);
    label->setBuddy(buddy);
    return label;
}

template <typename Widget>
Widget* named(Widget* widget, const char* objectName, const QString& accessibleName) {
    widget->setObjectName(objectName);
    widget->setAccessibleName(accessibleName);
    return widget;
}

constexpr ContentType contentTypes[] = {ContentType::plainText,  ContentType::richText,
                                        ContentType::markdown,   ContentType::code,
                                        ContentType::javaScript, ContentType::image};
constexpr TriggerMode triggerModes[] = {TriggerMode::immediate, TriggerMode::delimiter,
                                        TriggerMode::manual};
constexpr CaseSensitivity caseChoices[] = {CaseSensitivity::autoDetect, CaseSensitivity::sensitive,
                                           CaseSensitivity::insensitive};
constexpr AppFilterMode filterModes[] = {AppFilterMode::all, AppFilterMode::whitelist,
                                         AppFilterMode::blacklist};

template <typename E, std::size_t N>
int indexIn(const E (&choices)[N], E value) {
    for (std::size_t i = 0; i < N; ++i) {
        if (choices[i] == value) {
            return static_cast<int>(i);
        }
    }
    return 0;
}

std::vector<std::string> splitList(const QString& text) {
    std::vector<std::string> items;
    for (const auto& part : text.split(',', Qt::SkipEmptyParts)) {
        const QString trimmed = part.trimmed();
        if (!trimmed.isEmpty()) {
            items.push_back(trimmed.toStdString());
        }
    }
    return items;
}

QString joinList(const std::vector<std::string>& items) {
    QStringList parts;
    for (const auto& item : items) {
        parts << qt(item);
    }
    return parts.join(", ");
}

}  // namespace

LibrarySnippetEditor::LibrarySnippetEditor(SnippetStore& store, QWidget* parent)
    : QWidget(parent), store_(store) {
    setObjectName("snippetEditor");
    setAccessibleName("Snippet editor");
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout();
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    layout->addLayout(form);

    abbreviation_ = named(new QLineEdit(), "abbreviation", "Abbreviation");
    abbreviation_->setPlaceholderText("What you type, such as ;sig");
    form->addRow(buddyLabel("A&bbreviation:", abbreviation_), abbreviation_);
    verdict_ = named(new QLabel(), "verdict", "Abbreviation check");
    verdict_->setWordWrap(true);
    verdict_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(QString(), verdict_);

    label_ = named(new QLineEdit(), "label", "Label");
    label_->setPlaceholderText("Optional name shown in lists");
    form->addRow(buddyLabel("&Label:", label_), label_);

    group_ = named(new QComboBox(), "group", "Group");
    form->addRow(buddyLabel("Gro&up:", group_), group_);

    tags_ = named(new QLineEdit(), "tags", "Tags");
    tags_->setPlaceholderText("Separated by commas");
    form->addRow(buddyLabel("T&ags:", tags_), tags_);

    auto* triggerRow = new QHBoxLayout();
    trigger_ = named(new QComboBox(), "trigger", "Trigger");
    for (const auto mode : triggerModes) {
        trigger_->addItem(qt(triggerModeTitle(mode)));
    }
    case_ = named(new QComboBox(), "case", "Letter case");
    case_->addItems({"Case: automatic", "Case: must match", "Case: ignored"});
    match_ = named(new QComboBox(), "match", "Match type");
    match_->addItems({"Exact text", "Regular expression"});
    triggerRow->addWidget(trigger_);
    triggerRow->addWidget(case_);
    triggerRow->addWidget(match_);
    form->addRow(buddyLabel("E&xpands:", trigger_), triggerRow);

    auto* appRow = new QHBoxLayout();
    appFilter_ = named(new QComboBox(), "appFilter", "Applications");
    appFilter_->addItems({"In every application", "Only in", "Everywhere but"});
    apps_ = named(new QLineEdit(), "apps", "Application ids");
    apps_->setPlaceholderText("Application ids, such as org.gnome.TextEditor, separated by commas");
    appRow->addWidget(appFilter_);
    appRow->addWidget(apps_, 1);
    form->addRow(buddyLabel("A&pplications:", appFilter_), appRow);

    enabled_ = named(new QCheckBox("E&nabled"), "enabled", "Enabled");
    form->addRow(QString(), enabled_);

    auto* typeRow = new QHBoxLayout();
    type_ = named(new QComboBox(), "contentType", "Content type");
    for (const auto type : contentTypes) {
        type_->addItem(qt(contentTypeTitle(type)));
    }
    language_ = named(new QComboBox(), "codeLanguage", "Code language");
    for (const char* name : EnumNames<CodeLanguage>::names) {
        language_->addItem(name == std::string_view("auto") ? QString("Detect") : QString(name));
    }
    typeRow->addWidget(type_);
    typeRow->addWidget(language_);
    typeRow->addStretch(1);
    form->addRow(buddyLabel("T&ype:", type_), typeRow);

    auto* contentArea = buildContentArea();
    layout->addWidget(buddyLabel("C&ontent:", content_));
    layout->addWidget(contentArea, 1);

    auto* buttons = new QHBoxLayout();
    auto* versions = named(new QPushButton("&Versions\u2026"), "versions", "Versions");
    revert_ = named(new QPushButton("Rever&t"), "revert", "Revert");
    save_ = named(new QPushButton("&Save"), "save", "Save");
    buttons->addWidget(versions);
    buttons->addStretch(1);
    buttons->addWidget(revert_);
    buttons->addWidget(save_);
    layout->addLayout(buttons);

    connect(save_, &QPushButton::clicked, this, [this] { commit(); });
    connect(revert_, &QPushButton::clicked, this, [this] { revert(); });
    connect(versions, &QPushButton::clicked, this, [this] {
        if (onShowVersions) {
            onShowVersions();
        }
    });
    auto* saveShortcut = new QShortcut(QKeySequence::Save, this);
    saveShortcut->setContext(Qt::WidgetWithChildrenShortcut);
    connect(saveShortcut, &QShortcut::activated, this, [this] { commit(); });

    const auto changed = [this] {
        if (!filling_) {
            recheck();
        }
    };
    for (auto* line : {abbreviation_, label_, tags_, apps_}) {
        connect(line, &QLineEdit::textChanged, this, changed);
    }
    for (auto* box : {group_, trigger_, case_, match_, appFilter_, language_}) {
        connect(box, &QComboBox::currentIndexChanged, this, changed);
    }
    connect(type_, &QComboBox::currentIndexChanged, this, [this, changed] {
        contentTypeChanged();
        changed();
    });
    connect(enabled_, &QCheckBox::toggled, this, changed);
    connect(content_, &QPlainTextEdit::textChanged, this, [this, changed] {
        if (contentPages_->currentIndex() == 0 && markdownPreview_->isVisible()) {
            markdownPreview_->setMarkdown(content_->toPlainText());
        }
        changed();
    });
    edit(std::nullopt);
}

QWidget* LibrarySnippetEditor::buildContentArea() {
    contentPages_ = new QStackedWidget();
    auto* splitter = new QSplitter(Qt::Horizontal);
    content_ = named(new QPlainTextEdit(), "content", "Content");
    content_->setPlaceholderText("What it expands to; macros such as {{date}} work here");
    content_->setTabChangesFocus(true);
    new MacroHighlighter(content_->document());
    markdownPreview_ = named(new QTextBrowser(), "markdownPreview", "Markdown preview");
    markdownPreview_->setOpenLinks(false);
    splitter->addWidget(content_);
    splitter->addWidget(markdownPreview_);
    contentPages_->addWidget(splitter);
    fixedContent_ = named(new QLabel(), "fixedContent", "Content");
    fixedContent_->setWordWrap(true);
    fixedContent_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    fixedContent_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    contentPages_->addWidget(fixedContent_);
    return contentPages_;
}

void LibrarySnippetEditor::refreshGroups() {
    const QString current = group_->currentData().toString();
    group_->blockSignals(true);
    group_->clear();
    group_->addItem("No group", QString());
    const GroupTree tree(store_.groups(), store_.snippets());
    std::vector<std::size_t> pending(tree.roots().rbegin(), tree.roots().rend());
    while (!pending.empty()) {
        const auto index = pending.back();
        pending.pop_back();
        const auto& node = tree.nodes()[index];
        group_->addItem(qt(tree.path(node.group->id)), qt(node.group->id.toString()));
        pending.insert(pending.end(), node.children.rbegin(), node.children.rend());
    }
    const int found = group_->findData(current);
    group_->setCurrentIndex(found < 0 ? 0 : found);
    group_->blockSignals(false);
}

void LibrarySnippetEditor::edit(std::optional<Uuid> id) {
    const Snippet* snippet = id ? store_.snippet(*id) : nullptr;
    id_ = snippet ? std::optional<Uuid>(snippet->id) : std::nullopt;
    refreshGroups();
    fill(snippet ? *snippet : Snippet{});
    setEnabled(snippet != nullptr);
}

void LibrarySnippetEditor::fill(const Snippet& snippet) {
    filling_ = true;
    shown_ = snippet;
    abbreviation_->setText(qt(snippet.abbreviation));
    label_->setText(qt(snippet.label));
    const int group = snippet.groupId ? group_->findData(qt(snippet.groupId->toString())) : 0;
    group_->setCurrentIndex(group < 0 ? 0 : group);
    tags_->setText(joinList(snippet.tags));
    trigger_->setCurrentIndex(indexIn(triggerModes, snippet.triggerMode));
    case_->setCurrentIndex(indexIn(caseChoices, snippet.caseSensitivity));
    match_->setCurrentIndex(snippet.matchType == AbbreviationMatchType::regex ? 1 : 0);
    appFilter_->setCurrentIndex(indexIn(filterModes, snippet.appFilterMode));
    std::vector<std::string> apps;
    for (const auto& app : snippet.filteredApps) {
        apps.push_back(app.bundleId);
    }
    apps_->setText(joinList(apps));
    enabled_->setChecked(snippet.isEnabled);
    type_->setCurrentIndex(indexIn(contentTypes, snippet.contentType));
    language_->setCurrentIndex(
        static_cast<int>(snippet.codeLanguage.value_or(CodeLanguage::autoDetect)));
    content_->setPlainText(qt(snippet.content));
    content_->document()->clearUndoRedoStacks();
    contentTypeChanged();
    filling_ = false;
    recheck();
}

void LibrarySnippetEditor::contentTypeChanged() {
    const auto type = contentTypes[std::max(0, type_->currentIndex())];
    language_->setVisible(type == ContentType::code);
    markdownPreview_->setVisible(type == ContentType::markdown);
    if (type == ContentType::markdown) {
        markdownPreview_->setMarkdown(content_->toPlainText());
    }
    // Rich text keeps its formatting in the library's RTF and an image its picture; the editor
    // shows what they hold rather than rewriting them as plain text.
    const bool fixed =
        (type == ContentType::richText && shown_.richTextData) || (type == ContentType::image);
    contentPages_->setCurrentIndex(fixed ? 1 : 0);
    if (type == ContentType::image) {
        fixedContent_->setText(shown_.imageData || shown_.imageFileName
                                   ? "An image snippet. Its picture is kept as it is."
                                   : "An image snippet needs a picture: make one with "
                                     "\u201cwordloom add --image FILE\u201d.");
    } else if (fixed) {
        fixedContent_->setText("Formatted text (kept as it is):\n\n" + qt(shown_.content));
    }
}

Snippet LibrarySnippetEditor::edited() const {
    Snippet snippet = shown_;
    snippet.abbreviation = abbreviation_->text().toStdString();
    snippet.label = label_->text().toStdString();
    const QString group = group_->currentData().toString();
    snippet.groupId = group.isEmpty() ? std::nullopt : Uuid::parse(group.toStdString());
    snippet.tags = splitList(tags_->text());
    snippet.triggerMode = triggerModes[std::max(0, trigger_->currentIndex())];
    snippet.caseSensitivity = caseChoices[std::max(0, case_->currentIndex())];
    snippet.matchType =
        match_->currentIndex() == 1 ? AbbreviationMatchType::regex : AbbreviationMatchType::exact;
    snippet.appFilterMode = filterModes[std::max(0, appFilter_->currentIndex())];
    // Applications already listed keep their names and icons; new ones are known by id.
    std::vector<AppIdentifier> apps;
    for (const auto& id : splitList(apps_->text())) {
        const auto held =
            std::find_if(shown_.filteredApps.begin(), shown_.filteredApps.end(),
                         [&](const AppIdentifier& app) { return app.bundleId == id; });
        apps.push_back(held != shown_.filteredApps.end() ? *held : AppIdentifier{id, id, {}});
    }
    snippet.filteredApps = std::move(apps);
    snippet.isEnabled = enabled_->isChecked();
    snippet.contentType = contentTypes[std::max(0, type_->currentIndex())];
    if (snippet.contentType == ContentType::code) {
        const auto language = static_cast<CodeLanguage>(std::max(0, language_->currentIndex()));
        snippet.codeLanguage = language == CodeLanguage::autoDetect && !shown_.codeLanguage
                                   ? std::nullopt
                                   : std::optional<CodeLanguage>(language);
    }
    if (contentPages_->currentIndex() == 0) {
        snippet.content = content_->toPlainText().toStdString();
    }
    return snippet;
}

bool LibrarySnippetEditor::hasUnsavedChanges() const {
    return id_ && edited() != shown_;
}

void LibrarySnippetEditor::recheck() {
    const bool unsaved = hasUnsavedChanges();
    save_->setEnabled(unsaved);
    revert_->setEnabled(unsaved);
    if (!id_) {
        verdict_->clear();
        return;
    }
    const auto verdict = checkSnippetEdit(store_, edited());
    verdict_->setText(qt(verdict.allowsSaving() ? verdict.warning : verdict.error));
    save_->setEnabled(unsaved && verdict.allowsSaving());
}

QString LibrarySnippetEditor::verdictText() const {
    return verdict_->text();
}

bool LibrarySnippetEditor::commit() {
    if (!hasUnsavedChanges()) {
        return true;
    }
    const auto verdict = saveSnippetEdit(store_, edited());
    if (!verdict.allowsSaving()) {
        verdict_->setText(qt(verdict.error));
        return false;
    }
    if (const Snippet* saved = store_.snippet(*id_)) {
        filling_ = true;
        shown_ = *saved;
        filling_ = false;
    }
    recheck();
    if (onSaved) {
        onSaved();
    }
    return true;
}

void LibrarySnippetEditor::revert() {
    edit(id_);
}

void LibrarySnippetEditor::libraryChanged() {
    if (hasUnsavedChanges()) {
        refreshGroups();
        recheck();
        return;
    }
    edit(id_);
}

void LibrarySnippetEditor::insertMacro(const BuiltMacro& macro) {
    if (!id_ || contentPages_->currentIndex() != 0) {
        return;
    }
    const QString before = QString::fromStdString(macro.text.substr(0, macro.caret));
    const QString after = QString::fromStdString(macro.text.substr(macro.caret));
    auto cursor = content_->textCursor();
    cursor.beginEditBlock();  // one undo step
    cursor.insertText(before + after);
    cursor.endEditBlock();
    cursor.movePosition(QTextCursor::Left, QTextCursor::MoveAnchor, static_cast<int>(after.size()));
    content_->setTextCursor(cursor);
    content_->setFocus();
}

}  // namespace wordloom
