#pragma once

/// Watches that sound without gaps comes to a muxer that does not look at the times of sound.
class SoundClock {
public:
    /// `sampleRate` of MP3 with 1152 samples a frame.
    explicit SoundClock(int sampleRate) : m_SampleRate(sampleRate) {}

    /// A `Failure` where the frame that has this time would be heard 40 ms or more off it.
    void Check(long long time);

private:
    int m_SampleRate;
    long long m_Frames = 0;
    long long m_Start = 0;
};
