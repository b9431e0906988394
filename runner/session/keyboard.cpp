#include "keyboard.h"

#include <algorithm>

#include <QSet>
#include <QVector>

#include <zendra/keynames.h>
#include <zendra/nativeinterface.h>
#include <zendra/typist.h>

#include "cli/failure.h"
#include "keysequence.h"
#include "session.h"
#include "x11/keyprediction.h"

namespace Zendra::Runner
{

namespace
{

const QString numLockKey = QStringLiteral("<Num_Lock>");

/// X masks, as in X.h.
unsigned int modifierMask(const QString& keysymName)
{
    if (keysymName.startsWith(QLatin1String("Shift_")))
        return 1U << 0;
    if (keysymName.startsWith(QLatin1String("Control_")))
        return 1U << 2;
    if (keysymName.startsWith(QLatin1String("Alt_")))
        return 1U << 3;
    return keysymName == QLatin1String("ISO_Level3_Shift") ? 1U << 7 : 0;
}

QString wouldArrive(const QString& arrives)
{
    return QStringLiteral("with this keyboard layout, and Num Lock on or off, it would arrive as %1")
        .arg(arrives);
}

/// Toggles Num Lock, acts, and toggles it back.
template <typename Action>
QString withNumLockToggled(NativeInterface& native, Action action)
{
    QString errorText = native.sendKeyEventToFocusWindow(numLockKey);
    if (!errorText.isEmpty())
        return errorText;
    errorText = action();
    const QString restored = native.sendKeyEventToFocusWindow(numLockKey);
    return errorText.isEmpty() ? restored : errorText;
}

/// The index of the first character that has no key in the group in force; -1 when all have one.
int firstWithoutKey(Session& session, const QString& text)
{
    const QVector<uint> characters = text.toUcs4();
    QSet<uint> present;
    for (int index = 0; index < characters.size(); ++index) {
        const uint codePoint = characters.at(index);
        if (present.contains(codePoint))
            continue;
        // The native interface takes a text apart into UTF-16 code units.
        if (QChar::requiresSurrogates(codePoint) || !session.hasKey(QString::fromUcs4(&codePoint, 1)))
            return index;
        present.insert(codePoint);
    }
    return -1;
}

bool needsPrediction(Session& session, const QStringList& names)
{
    const bool isDependent = std::any_of(names.begin(), names.end(),
        [](const QString& name) { return dependsOnKeyType(ourKeyToXKBString(name)); });
    return isDependent && session.canOpenDisplay();
}

/// The prediction for the first key of a combination that depends on more than its level.
struct CombinationPrediction {
    KeyPrediction key;
    QString combination; ///< in keysym names where that makes a difference
};

CombinationPrediction predict(Session& session, const QStringList& names)
{
    unsigned int held = 0;
    QStringList keysyms;
    KeyPrediction found;
    for (const QString& name : names) {
        QString keysym = ourKeyToXKBString(name);
        if (found.need == KeyPrediction::Need::Nothing && dependsOnKeyType(keysym)) {
            session.synchronize();
            found = predictKey(session.displayName(), keysym, held);
            if (found.need == KeyPrediction::Need::ControlWithBase)
                keysym = QStringLiteral("Control_L+") + found.base;
        }
        held |= modifierMask(keysym);
        keysyms.append(keysym);
    }
    return {found, QLatin1Char('<') + keysyms.join(QLatin1Char('+')) + QLatin1Char('>')};
}

} // namespace

void requireTextKeys(Session& session, const QString& text, const QString& textName, const TypingMode& mode)
{
    session.followLayout();
    int missing = -1;
    if (mode.noRemap || session.typist() == nullptr)
        missing = firstWithoutKey(session, text);
    else
        missing = session.typist()->firstUntypable(text);
    if (missing < 0)
        return;
    const uint codePoint = text.toUcs4().at(missing);
    throw operationFailure(
        QStringLiteral("Cannot type '%1' (character %2 of %3): the keyboard layout has no key for it")
            .arg(QString::fromUcs4(&codePoint, 1), QString::number(missing + 1), textName));
}

TypedText typeText(Session& session, const QString& text, const TypingMode& mode,
    const std::function<TypedText()>& typePlainly)
{
    const bool hasChoices = mode.keepModifiers || mode.delay > 0;
    Typist* typist = session.typist();
    if (typist == nullptr && hasChoices) {
        return {0,
            QStringLiteral(
                "--delay and --keep-modifiers need a display with XKEYBOARD and XTEST that this process can open")};
    }
    if (typist == nullptr || (session.isRemote() && !hasChoices))
        return typePlainly();
    // Earlier commands' events come first, including keys that they hold on purpose.
    session.synchronize();
    const bool keepsModifiers = mode.keepModifiers || session.heldDown().hasKeys();
    const TypingResult result
        = typist->type(text, {keepsModifiers, mode.delay, session.interruptionFileDescriptor()});
    if (!typist->isConnected()) {
        throw Failure(ExitStatus::ConnectionLost,
            QStringLiteral("The connection to display '%1' was lost")
                .arg(QString::fromUtf8(session.displayName())));
    }
    return {result.typed, result.errorText};
}

void requireCombinationKeys(Session& session, const QString& combination)
{
    session.followLayout();
    const QStringList names = combinationNames(combination);
    for (const QString& name : names) {
        if (!session.hasKey(name)) {
            throw operationFailure(QStringLiteral("Cannot type '%1': the keyboard layout has no key '%2'")
                                       .arg(combination, name));
        }
    }
    if (!needsPrediction(session, names))
        return;
    const KeyPrediction key = predict(session, names).key;
    if (key.need == KeyPrediction::Need::Impossible)
        throw operationFailure(
            QStringLiteral("Cannot type '%1': %2").arg(combination, wouldArrive(key.arrives)));
}

QString sendCombination(Session& session, const QString& combination)
{
    NativeInterface& native = session.native();
    const QStringList names = combinationNames(combination);
    if (!needsPrediction(session, names))
        return native.sendKeyEventToFocusWindow(combination);
    const CombinationPrediction prediction = predict(session, names);
    const auto send = [&] { return native.sendKeyEventToFocusWindow(prediction.combination); };
    switch (prediction.key.need) {
    case KeyPrediction::Need::Impossible:
        return wouldArrive(prediction.key.arrives);
    case KeyPrediction::Need::NumLockToggled:
        return withNumLockToggled(native, send);
    default:
        return send();
    }
}

QString sendKey(Session& session, const QString& name, bool press)
{
    NativeInterface& native = session.native();
    // Bracketed always: the native interface reports errors only for names in brackets.
    const auto send = [&] { return native.sendKeys(QLatin1Char('<') + name + QLatin1Char('>'), press); };
    if (!press || !dependsOnKeyType(name) || !session.canOpenDisplay())
        return send();
    const KeyPrediction prediction = predict(session, {name}).key;
    switch (prediction.need) {
    case KeyPrediction::Need::Nothing:
        return send();
    case KeyPrediction::Need::NumLockToggled:
        return withNumLockToggled(native, send);
    case KeyPrediction::Need::ControlWithBase:
        return QStringLiteral("it takes two keys; hold Ctrl, and press %1").arg(prediction.base);
    default:
        return wouldArrive(prediction.arrives);
    }
}

} // namespace Zendra::Runner
