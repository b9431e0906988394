#pragma once

#include <vector>

#include <zendra/typist.h>

#include "keymap.h"
#include "server.h"

namespace Zendra::Keyboard
{

class Turn;

class XcbTypist final : public Typist
{
public:
    explicit XcbTypist(std::unique_ptr<Server> server);
    ~XcbTypist() override;

    SpareKeys spareKeys() override;
    int firstUntypable(const QString& text) override;
    TypingResult type(const QString& text, const TypingOptions& options) override;
    int layoutVersion() override;
    bool isConnected() const override { return m_server->isConnected(); }
    QString recover() override;

private:
    struct Character;
    class Batch;

    bool readKeymap();
    /// Whether the keymap still is as this typist has made it.
    bool isKeymapKept(const KeyChanges& changes);
    int firstUnplanned(const QString& text);
    QString plan(const QString& text, std::uint8_t group, std::vector<Character>& characters);
    TypingResult typeBatches(
        Turn& turn, std::vector<Character>& characters, std::uint8_t group, const TypingOptions& options);
    QString send(const std::vector<Character>& characters, const Batch& batch, int& typed,
        const TypingOptions& options);
    void sendStroke(const Stroke& stroke);
    void useGroup(std::uint8_t group);

    std::unique_ptr<Server> m_server;
    Keymap m_keymap;
    int m_mapChanges = -1;        ///< the number of changes that the keymap includes
    bool m_isSpareCommon = false; ///< its spare keys are spare on all keyboards
    int m_layoutVersion = 0;
    int m_versionMapChanges = 0;
    int m_versionGroup = -1;
    std::uint8_t m_lockedModifiers = 0;
    std::uint8_t m_lockedGroup = 0;
};

} // namespace Zendra::Keyboard
