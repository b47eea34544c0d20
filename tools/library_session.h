#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "uvqlog/control.h"

/// The time that the library is in use. Starts it, and owns its log meanwhile: shows what the user asked for, and lets
/// the command hear what the calls do not tell.
class LibrarySession {
public:
    using Listener = std::function<void(const uvqlog::LogEvent&)>;

    /// What --log takes.
    static std::vector<std::string> LogLevels();

    /// `logLevel` is one of LogLevels(): lines from there up go to stderr, FFmpeg's own too; empty for silence.
    explicit LibrarySession(const std::string& logLevel);
    ~LibrarySession();
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;

    /// True unless lines go to stderr.
    bool IsSilent() const { return !m_Shown.has_value(); }

    /// Starts the library once more, with `listener` hearing all that it says of what FFmpeg offers.
    void ListOffers(Listener listener);

    /// `listener` hears every line from Severity::Info up, until the next call. Gives the one before.
    Listener ReplaceListener(Listener listener);

    /// While muted nobody hears anything, FFmpeg's own lines included.
    void Mute(bool muted);

private:
    /// What listeners are promised, or more where more is shown.
    uvqlog::Severity Threshold() const;
    void Hear(const uvqlog::LogEvent& event);

    /// In FFmpeg's words.
    const char* FfmpegLevel() const;

    std::optional<uvqlog::Severity> m_Shown;
    std::mutex m_Mutex;
    Listener m_Listener;
    bool m_Muted = false;
};

/// Mutes for its own lifetime.
class ScopedMute {
public:
    explicit ScopedMute(LibrarySession& session) : m_Session(session) { m_Session.Mute(true); }
    ~ScopedMute() { m_Session.Mute(false); }
    ScopedMute(const ScopedMute&) = delete;
    ScopedMute& operator=(const ScopedMute&) = delete;

private:
    LibrarySession& m_Session;
};

/// Hears only what is said on the thread that makes it.
LibrarySession::Listener OnThisThread(LibrarySession::Listener listener);

/// Listens for its own lifetime; the listener before it is back afterwards.
class ScopedListener {
public:
    ScopedListener(LibrarySession& session, LibrarySession::Listener listener)
        : m_Session(session), m_Former(session.ReplaceListener(std::move(listener))) {}
    ~ScopedListener() { m_Session.ReplaceListener(std::move(m_Former)); }
    ScopedListener(const ScopedListener&) = delete;
    ScopedListener& operator=(const ScopedListener&) = delete;

private:
    LibrarySession& m_Session;
    LibrarySession::Listener m_Former;
};
