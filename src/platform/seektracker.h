#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

// The seek bookkeeping of one mpv player, without mpv: fed the requests of the session and the
// events of the core, it answers which commands go to the core and runs every seek's completion
// exactly once. GUI thread only; nothing here blocks or touches libmpv.
//
// A seek goes to the core, the core takes it (accepted), starts it, alone or with others queued
// beside it (started), and shows its target at the next playback restart, where it completes. A
// seek to the next frame while paused is a step instead: the core decodes that one frame, and the
// step completes when the playhead reaches it. Stepping back through a key held long enough turns
// the core around (mpv's play-dir), then steps backward through the pictures it keeps; each such
// step completes when the playhead goes below the frame it names.
//
// Units: seconds; the commands name seeks by the ids given out here.
class SeekTracker {
public:
    using Clock = std::chrono::steady_clock;

    // What the decisions need to know of the file and the core, as known now.
    struct Media {
        bool isReady = false;
        double playhead = 0; // the player's playhead: the last seek's target while seeking
        double duration = 0;
        double containerFps = 0; // 0 when unknown
        double estimatedFps = 0; // of the decoded frames; 0 when unknown
        bool isSeekable = true;
        bool decodesInHardware = false;
        std::optional<double> longestKeyFrameInterval; // nothing while unknown, or without index
        int64_t pictureBytes = 0;                      // one decoded picture; 0 while unknown
        int64_t reversalBytes = 0;                     // room for the pictures kept stepping back
        // How long a held run of steps back goes by exact seeks before it turns the core around.
        Clock::duration turnAfter{};
    };

    // Where the playhead stands, as far as playing and pausing go.
    enum class Playhead {
        Playing, // the last request was to play
        Paused,  // follows the core
        Holding, // paused since an exact seek: reads as that seek's target
        AtEnd,   // the core stopped on the last frame by itself: nothing plays until a seek
    };

    struct Command {
        enum class Kind {
            Seek,        // mpv's seek to `target`, exact or to a key frame
            Step,        // mpv's frame-step, in the direction the core plays
            TurnBack,    // play-dir backward
            TurnForward, // play-dir forward
            // The sound track left out while the core plays backward (stepping back is silent,
            // and sound decoded backward makes the turn wait for it and now and then lets a run
            // of steps end off its frame), and chosen again once forward with no seek under way
            // (a track chosen beside a seek can make it land a frame off).
            SoundOff,
            SoundOn,
        };
        Kind kind = Kind::Seek;
        uint64_t id = 0; // Seek and Step: the reply id that names the seek
        double target = 0;
        bool isExact = true;
        bool operator==(const Command &) const = default;
    };

    explicit SeekTracker(uint64_t firstId)
        : m_nextId(firstId)
    {
    }

    // How a seek goes to the core.
    enum class Way {
        Seek, // mpv's seek (also the first step back of a run)
        Step, // a frame-step forward
        Back, // a step back of a held run, through the pictures the core keeps
    };

    // A seek to `target`, asked for at `now`; `completion` runs once it completes. Queues the
    // commands it needs. `mark` comes back to onShown.
    Way seek(double target, bool isExact, const Media &media, Clock::time_point now,
             std::function<void()> completion, uint64_t mark = 0);
    // Whether playing must first seek to the playhead (exactly), to run forward from the frame
    // the backward steps reached.
    [[nodiscard]] bool playNeedsSeek() const;
    // Whether playing can start: not while the core stands at the end where it stopped by
    // itself, until a seek goes out.
    [[nodiscard]] bool mayPlay() const { return m_playhead != Playhead::AtEnd; }
    void play() { m_playhead = Playhead::Playing; }
    void pause();

    // Engine events.
    void accepted(uint64_t id, bool isOk, bool isSeekable); // the core's reply to a command
    void started();                                         // mpv's seek event
    void restarted();                                       // mpv's playback-restart
    void playheadMoved(double seconds);                     // time-pos, while seeks are pending
    // The core reached the end and paused. Returns whether playback had taken it there.
    bool reachedEnd();
    void leftEnd();
    void completeAll(); // the file failed or ended: nothing restarts

    // The commands queued since the last call, oldest first.
    [[nodiscard]] std::vector<Command> takeCommands() { return std::exchange(m_commands, {}); }
    [[nodiscard]] bool isPending() const { return !m_seeks.empty(); }
    [[nodiscard]] Playhead playhead() const { return m_playhead; }
    // Called with the newest seek's target and mark when seeks complete because their picture
    // shows; for the trace.
    std::function<void(double target, uint64_t mark)> onShown;

private:
    enum class Stage {
        Sent,
        Accepted,
        Started,
        Stepping,
        Waiting,      // a step back of a held run, until the exact seeks before it show
        Turning,      // a step back, until the core has turned around
        SteppingBack, // a backward frame-step, sent
    };
    // Which way the core plays. Turning around is an exact seek of the core's own to where it
    // stands; the core has turned once that seek has started (Turned) and restarted.
    enum class Direction {
        Forward,
        Turning,
        Turned,
        Backward,
    };
    struct Pending {
        uint64_t id = 0;
        Stage stage = Stage::Sent;
        std::function<void()> completion;
        double target = 0;
        uint64_t mark = 0;
        double reach = 0;        // backward steps: completes once the playhead is below this
        bool isBackSeek = false; // an exact seek to the frame before, the first of a run
    };

    [[nodiscard]] bool isNextFrame(double target, const Media &media) const;
    [[nodiscard]] std::optional<double> previousFrame(double target, const Media &media) const;
    [[nodiscard]] bool all(bool (*pick)(const Pending &)) const;
    void turnBack();
    void turnWaiting();
    void turnForward();
    template<typename Pick> void complete(Pick pick, bool shown = false);

    uint64_t m_nextId;
    std::vector<Pending> m_seeks; // oldest first
    std::vector<Command> m_commands;
    Playhead m_playhead = Playhead::Paused;
    Direction m_direction = Direction::Forward;
    bool m_isSoundOff = false;
    // When the last seek, a step back, was asked for; nothing after any other seek.
    std::optional<Clock::time_point> m_lastBackStep;
    Clock::time_point m_runStart; // of the run of steps back at a key's repeat that goes on
};
