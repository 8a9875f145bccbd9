#include "seektracker.h"

#include <algorithm>
#include <cmath>

namespace {

// Faster than a hand presses a key again, slower than any key repeats.
constexpr std::chrono::milliseconds kKeyRepeat{150};

// The duration of every frame, in seconds, when the video's frames come at a constant rate: the
// container's, unless the decoded frames say otherwise.
std::optional<double> constantFrameDuration(const SeekTracker::Media &media)
{
    if (media.containerFps <= 0 ||
        (media.estimatedFps > 0 && std::abs(media.estimatedFps / media.containerFps - 1) > 0.01))
        return std::nullopt;
    return 1.0 / media.containerFps;
}

} // namespace

SeekTracker::Way SeekTracker::seek(double target, bool isExact, const Media &media,
                                   Clock::time_point now, std::function<void()> completion,
                                   uint64_t mark)
{
    const uint64_t id = m_nextId++;
    std::optional<double> back = isExact ? previousFrame(target, media) : std::nullopt;
    // Steps back are exact seeks, which the core takes one after the other, each showing its
    // frame before the next starts. Turning the core around costs many of those (at 1080p with
    // 5 s between key frames, 2.5 s, against 0.2 s for a seek), so only a key held for a while
    // turns it: a run of steps at a key's repeat that has lasted `turnAfter`.
    const bool repeated = back && m_lastBackStep && now - *m_lastBackStep < kKeyRepeat;
    if (back && !repeated)
        m_runStart = now;
    m_lastBackStep = back ? std::optional(now) : std::nullopt;
    const bool turns = repeated && now - m_runStart >= media.turnAfter;
    const bool backSeek = back && m_direction == Direction::Forward && !turns;
    if (backSeek)
        back.reset();
    const bool step =
        isExact && !back && m_direction == Direction::Forward && isNextFrame(target, media);
    Stage stage = step ? Stage::Stepping : Stage::Sent;
    if (back && m_direction == Direction::Forward && !m_seeks.empty())
        stage = Stage::Waiting;
    else if (back)
        stage = m_direction == Direction::Backward ? Stage::SteppingBack : Stage::Turning;
    else
        turnForward();
    Pending &pending =
        m_seeks.emplace_back(Pending{id, stage, std::move(completion), target, mark});
    pending.isBackSeek = backSeek;
    if (back) // the step's frame is the newest that starts before this
        pending.reach = target + *back - 0.005;
    if (m_playhead != Playhead::Playing)
        m_playhead = isExact ? Playhead::Holding : Playhead::Paused;

    switch (stage) {
    case Stage::Sent:
        m_commands.push_back({Command::Kind::Seek, id, target, isExact});
        break;
    case Stage::Stepping:
    case Stage::SteppingBack:
        m_commands.push_back({Command::Kind::Step, id});
        break;
    case Stage::Turning: // the step goes out once the core has turned around
        if (m_direction == Direction::Forward)
            turnBack();
        break;
    default: // Waiting
        break;
    }
    return step ? Way::Step : back ? Way::Back : Way::Seek;
}

bool SeekTracker::playNeedsSeek() const
{
    return m_direction != Direction::Forward ||
           std::any_of(m_seeks.begin(), m_seeks.end(),
                       [](const Pending &s) { return s.stage == Stage::Waiting; });
}

void SeekTracker::pause()
{
    if (m_playhead == Playhead::Playing)
        m_playhead = Playhead::Paused;
}

void SeekTracker::accepted(uint64_t id, bool isOk, bool isSeekable)
{
    const auto self = [id](const Pending &s) { return s.id == id; };
    const auto it = std::find_if(m_seeks.begin(), m_seeks.end(), self);
    if (it == m_seeks.end())
        return;
    if (it->stage == Stage::Stepping || it->stage == Stage::SteppingBack) {
        if (!isOk) // a step the core refused never moves the playhead
            complete(self);
        return;
    }
    if (it->stage != Stage::Sent)
        return;
    it->stage = Stage::Accepted;
    // A seek the core refused never starts; in a stream that cannot seek, the core may drop a
    // seek without a word. Neither will see a restart.
    if (!isOk || !isSeekable)
        complete(self);
}

void SeekTracker::started()
{
    if (m_direction == Direction::Turning)
        m_direction = Direction::Turned;
    // Several queued seeks start as one; the next restart is theirs. A restart that comes first
    // belongs to an earlier seek or to the loading of the file.
    for (Pending &seek : m_seeks) {
        if (seek.stage == Stage::Accepted)
            seek.stage = Stage::Started;
    }
}

void SeekTracker::restarted()
{
    if (m_direction == Direction::Turned) {
        // Turned around, on the frame shown before: the backward steps go out.
        m_direction = Direction::Backward;
        for (Pending &seek : m_seeks) {
            if (seek.stage == Stage::Turning) {
                seek.stage = Stage::SteppingBack;
                m_commands.push_back({Command::Kind::Step, seek.id});
            }
        }
        return;
    }
    // A step still on its way was sent before the seek that restarted, which overtook it.
    complete(
        [](const Pending &s) {
            return s.stage == Stage::Started || s.stage == Stage::Stepping ||
                   s.stage == Stage::Turning || s.stage == Stage::SteppingBack;
        },
        true);
    if (m_isSoundOff && m_direction == Direction::Forward && m_seeks.empty()) {
        m_isSoundOff = false;
        m_commands.push_back({Command::Kind::SoundOn});
    }
}

// Steps complete once the playhead reaches the frame they asked for: the first that starts at or
// after the target, or up to 5 ms before it.
void SeekTracker::playheadMoved(double seconds)
{
    complete(
        [seconds](const Pending &s) {
            return (s.stage == Stage::Stepping && seconds >= s.target - 0.0055) ||
                   (s.stage == Stage::SteppingBack && seconds < s.reach);
        },
        true);
}

bool SeekTracker::reachedEnd()
{
    // A step past the last frame goes nowhere.
    complete([](const Pending &s) { return s.stage == Stage::Stepping; });
    // Only playback reaches the end: a paused player that was sent there stays put.
    return std::exchange(m_playhead, Playhead::AtEnd) == Playhead::Playing;
}

void SeekTracker::leftEnd()
{
    if (m_playhead == Playhead::AtEnd)
        m_playhead = Playhead::Paused;
}

void SeekTracker::completeAll()
{
    complete([](const Pending &) { return true; });
}

// Whether an exact seek to `target` would show the frame after the one on screen, so that
// decoding that one frame shows the same as going back to the key frame before the target and
// decoding up to it. It would when the player is paused since an exact seek with nothing but
// steps in flight, the video's frames come at a constant rate, and the target is one frame past
// the playhead (the target of the exact seek that showed the frame: the first frame that starts
// at or after it is then the next one) and before the last frame. Just after a pause the core
// may already show a frame past the one its time-pos names, so the first step is a seek.
bool SeekTracker::isNextFrame(double target, const Media &media) const
{
    if (!media.isReady || m_playhead != Playhead::Holding)
        return false;
    if (!all([](const Pending &s) { return s.stage == Stage::Stepping; }))
        return false;
    const std::optional<double> frame = constantFrameDuration(media);
    return frame && std::abs(target - media.playhead - *frame) < *frame / 4 &&
           target < media.duration - *frame / 2;
}

// When an exact seek to `target` would show the frame before the one on screen and the core can
// step back to it from the pictures it keeps: the duration of a frame. It can when the player is
// paused with nothing but backward steps in flight, the frames come at a constant rate, the
// target is one frame before the playhead (not at the end, where the last frame shows whatever
// the playhead) and after the first frame, the video is decoded in software (hardware decoders
// keep a handful of pictures), and the longest stretch between two key frames of the file fits
// in the pictures kept.
std::optional<double> SeekTracker::previousFrame(double target, const Media &media) const
{
    if (!media.isReady || (m_playhead != Playhead::Paused && m_playhead != Playhead::Holding) ||
        !media.isSeekable || media.decodesInHardware || !media.longestKeyFrameInterval ||
        !media.pictureBytes)
        return std::nullopt;
    if (!all([](const Pending &s) {
            return s.isBackSeek || s.stage == Stage::Waiting || s.stage == Stage::Turning ||
                   s.stage == Stage::SteppingBack;
        }))
        return std::nullopt;
    const std::optional<double> frame = constantFrameDuration(media);
    if (!frame)
        return std::nullopt;
    const double kept = (*media.longestKeyFrameInterval / *frame + 1) * double(media.pictureBytes);
    if (kept > double(media.reversalBytes))
        return std::nullopt;
    if (std::abs(media.playhead - target - *frame) < *frame / 4 && target > *frame / 2 &&
        media.playhead < media.duration - *frame / 2)
        return frame;
    return std::nullopt;
}

bool SeekTracker::all(bool (*pick)(const Pending &)) const
{
    return std::all_of(m_seeks.begin(), m_seeks.end(), pick);
}

void SeekTracker::turnBack()
{
    m_direction = Direction::Turning;
    if (!std::exchange(m_isSoundOff, true))
        m_commands.push_back({Command::Kind::SoundOff});
    m_commands.push_back({Command::Kind::TurnBack});
}

// Once the exact seeks back of a run are done (their frames shown), the steps after them turn the
// core around, from the frame on screen.
void SeekTracker::turnWaiting()
{
    if (m_direction != Direction::Forward || m_seeks.empty() ||
        !all([](const Pending &s) { return s.stage == Stage::Waiting; }))
        return;
    for (Pending &seek : m_seeks)
        seek.stage = Stage::Turning;
    turnBack();
}

// A seek goes out next: the core's own seek, to where it stood, gives way to it, and so do the
// steps back still waiting to turn it, completing with it.
void SeekTracker::turnForward()
{
    for (Pending &seek : m_seeks) {
        if (seek.stage == Stage::Waiting)
            seek.stage = Stage::Accepted;
    }
    if (std::exchange(m_direction, Direction::Forward) != Direction::Forward)
        m_commands.push_back({Command::Kind::TurnForward});
}

// Runs, once each, the completions of the seeks `pick` picks; when `shown`, tells onShown of the
// newest. Taken out of the list first: a completion may send the next seek.
template<typename Pick> void SeekTracker::complete(Pick pick, bool shown)
{
    std::vector<Pending> finished;
    for (auto it = m_seeks.begin(); it != m_seeks.end();) {
        if (pick(*it)) {
            finished.push_back(std::move(*it));
            it = m_seeks.erase(it);
        } else {
            ++it;
        }
    }
    if (shown && onShown && !finished.empty())
        onShown(finished.back().target, finished.back().mark);
    for (Pending &seek : finished) {
        if (seek.completion)
            seek.completion();
    }
    turnWaiting();
}
