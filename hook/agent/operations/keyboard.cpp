#include "operation.h"

#include <QElapsedTimer>

#include <zendra/keynames.h>
#include <zendra/typist.h>

#include "agent/callerror.h"

namespace Zendra::Agent
{

/// The result of typing in a thread.
struct Typing {
    bool isPossible = false;
    TypingResult result;
};

namespace
{

/// Characters; they take a few seconds.
constexpr int longestText = 100'000;
/// Characters; names in a combination are resolved recursively.
constexpr int longestCombination = 200;
/// Milliseconds of typing before control returns to the event loop.
constexpr int typingSlice = 100;
/// The operation adds 8; X key codes end at 255.
constexpr int highestKeyCode = 247;

[[noreturn]] void refuse(const QString& text)
{
    throw invalidArguments(text);
}

void refuseIf(const QString& errorText)
{
    if (!errorText.isEmpty())
        refuse(errorText);
}

QChar character(const QVariant& argument)
{
    const QString text = argument.toString();
    if (text.size() != 1)
        refuse(QStringLiteral("'%1' is not one character").arg(text.left(40)));
    refuseIf(typedTextError(text));
    return text.front();
}

QString text(const QVariant& argument)
{
    QString result = argument.toString();
    if (result.size() > longestText)
        refuse(QStringLiteral("A text has %1 characters at the most").arg(longestText));
    refuseIf(typedTextError(result));
    return result;
}

QString keyName(const QVariant& argument)
{
    QString name = argument.toString();
    if (name.isEmpty() || name.size() > longestCombination)
        refuse(QStringLiteral("Unknown key '%1'").arg(name.left(40)));
    refuseIf(keyNameError(name, name));
    return name;
}

enum class Brackets { HoldOneKey, HoldCombination };

/// Text, or one key or combination in angle brackets.
QString keys(const QVariant& argument, Brackets brackets)
{
    QString result = text(argument);
    if (result.isEmpty())
        refuse(QStringLiteral("There are no keys to send"));
    if (result.size() < 2 || !result.startsWith(QLatin1Char('<')) || !result.endsWith(QLatin1Char('>')))
        return result;
    const QString inside = result.mid(1, result.size() - 2);
    if (brackets == Brackets::HoldOneKey) {
        keyName(inside);
    } else {
        if (inside.size() > longestCombination)
            refuse(QStringLiteral("A combination has %1 characters at the most").arg(longestCombination));
        refuseIf(keyCombinationError(inside));
    }
    return result;
}

/// For a text that is not the name of a keysym the native interface would look up its first letter.
Results isValidSpecialKey(Context& context)
{
    const QString name = context.arguments[0].toString();
    const bool isKey = name.size() <= longestCombination && keyNameError(name, name).isEmpty();
    return QVariantList {isKey && context.platform.native().isValidSpecialKey(ourKeyToXKBString(name))};
}

/// Types with the plug-in only, whose keyboard map is fixed.
Results typePlainly(Context& context, const QString& toType)
{
    // The round trip of each character flushes the one before.
    context.platform.setFlushSuppressed(true);
    const auto done = [&context](const QString& errorText) {
        context.platform.setFlushSuppressed(context.caller->suppressesFlush);
        return QVariantList {context.progress, errorText};
    };
    QElapsedTimer clock;
    clock.start();
    for (auto& typed = context.progress; typed < static_cast<unsigned int>(toType.size()); ++typed) {
        if (clock.elapsed() >= typingSlice)
            return std::nullopt;
        const QString errorText
            = context.platform.native().typeCharacter(toType.at(static_cast<int>(typed)), NoModifier);
        if (!errorText.isEmpty())
            return done(errorText);
    }
    return done({});
}

/// Types in a thread: the application must handle its key events meanwhile.
Results typeText(Context& context)
{
    const QString toType = text(context.arguments[0]);
    if (context.typing == nullptr) {
        const std::shared_ptr<NativeInterface> copy = context.platform.threadSafeCopy();
        if (copy == nullptr || toType.isEmpty())
            return typePlainly(context, toType);
        context.platform.native().pointerPosition(); // what is typed must not overtake earlier requests
        context.typing = std::make_shared<Typing>();
        context.thread = OperationThread::start(copy,
            [typing = context.typing, toType, display = context.platform.displayName()](NativeInterface&) {
                const auto typist = Typist::connect(display);
                typing->isPossible = typist != nullptr;
                if (typist != nullptr)
                    typing->result = typist->type(toType, {});
                return QString();
            });
        return std::nullopt;
    }
    if (!context.typing->isPossible)
        return typePlainly(context, toType);
    const TypingResult& result = context.typing->result;
    return QVariantList {static_cast<unsigned int>(result.typed), result.errorText};
}

Results sendKeys(Context& context)
{
    const QString what = keys(context.arguments[0], Brackets::HoldOneKey);
    return done(context.platform.native().sendKeys(what, context.arguments[1].toBool()));
}

Results isModifierPressed(Context& context)
{
    const int modifier = modifiers(context.arguments[0]);
    if (modifier != ShiftModifier && modifier != ControlModifier && modifier != AltModifier)
        refuse(QStringLiteral("%1 is not one modifier").arg(modifier));
    return QVariantList {context.platform.native().isModifierPressed(static_cast<ModifierKey>(modifier))};
}

Results charToKeyStroke(Context& context)
{
    const CharacterStroke stroke = context.platform.native().charToKeyStroke(
        character(context.arguments[0]), context.arguments[1].toBool());
    failIf(stroke.errorText);
    return QVariantList {stroke.code, stroke.modifiers};
}

Results extraKeys(Context& context)
{
    class Names final : public ResponseListener<QStringList>
    {
    public:
        void response(const Result<QStringList>& result) override { m_result = result; }
        const Result<QStringList>& result() const { return m_result; }

    private:
        Result<QStringList> m_result;
    } names;
    context.platform.native().extraKeys(&names);
    failIf(names.result().errorText);
    return QVariantList {names.result().value};
}

Results sendTextToWindow(Context& context)
{
    const QString title = context.arguments[0].toString();
    if (title.isEmpty())
        refuse(QStringLiteral("The title is empty"));
    return done(context.platform.native().sendTextToWindow(title, text(context.arguments[1])));
}

} // namespace

const Operation keyboardOperations[] = {
    {"TypeCharacter", "si",
        [](Context& context) {
            return done(context.platform.native().typeCharacter(
                character(context.arguments[0]), modifiers(context.arguments[1])));
        }},
    {"TypeText", "s", &typeText},
    {"SendKeyEventToFocusWindow", "s",
        [](Context& context) {
            return done(context.platform.native().sendKeyEventToFocusWindow(
                keys(context.arguments[0], Brackets::HoldCombination)));
        }},
    {"SendKeys", "sb", &sendKeys},
    {"KeyboardPressRelease", "sb",
        [](Context& context) {
            return done(context.platform.native().keyboardPressRelease(
                keyName(context.arguments[0]), context.arguments[1].toBool()));
        }},
    {"KeyCode", "ub",
        [](Context& context) {
            const int code = number(context.arguments[0], 0, highestKeyCode, "key code");
            return done(context.platform.native().keyCode(static_cast<unsigned int>(code), 0,
                NativeKeyCodeSet::Default, context.arguments[1].toBool()));
        }},
    {"PressReleaseModifiers", "ib",
        [](Context& context) {
            return done(context.platform.native().pressReleaseModifiers(
                modifiers(context.arguments[0]), context.arguments[1].toBool()));
        }},
    {"IsModifierPressed", "i", &isModifierPressed},
    {"IsValidSpecialKey", "s", &isValidSpecialKey},
    {"CharToKeyStroke", "sb", &charToKeyStroke},
    {"ExtraKeys", "", &extraKeys},
    {"SendTextToWindow", "ss", &sendTextToWindow},
    {nullptr, nullptr, nullptr},
};

} // namespace Zendra::Agent
