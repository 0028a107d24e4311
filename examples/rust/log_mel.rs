// Log-mel features of a 16-bit WAV file in mono: rustc --edition 2021 log_mel.rs -l kelvo_audio
// Usage: log_mel RECORDING.wav FEATURES.f32     writes [80 bands x frames] floats, and prints their shape
use std::os::raw::{c_float, c_int};

#[link(name = "kelvo_audio")]
extern "C" {
    fn kelvoAudioGetFrameLen(frame_n: *mut c_int, sample_n: c_int, fft_n: c_int, hop_n: c_int, center: c_int) -> c_int;
    fn kelvoAudioGetMelSpectrogram(
        dst: *mut c_float, src: *const c_float, sample_n: c_int, sample_rate: c_int, fft_n: c_int, hop_n: c_int,
        win_n: c_int, win_type: c_int, max_frame_n: c_int, center: c_int, power: c_float, fft_norm_type: c_int,
        f_min: c_float, f_max: c_float, mel_n: c_int, mel_norm: c_int, mel_formula: c_int) -> c_int;
    fn kelvoAudioConvertPowerToDB(dst: *mut c_float, src: *const c_float, src_n: c_int, top_db: c_float) -> c_int;
}

const MEL_N: c_int = 80;
const FFT_N: c_int = 400;
const HOP_N: c_int = 160;
const HANN: c_int = 1;
const REFLECT: c_int = 1;
const SLANEY_NORM: c_int = 1;

fn check(status: c_int) -> Result<(), String> {
    if status == 0 { Ok(()) } else { Err(format!("status {status}")) }
}

fn log_mel(samples: &[f32], rate: c_int) -> Result<Vec<f32>, String> {
    let (sample_n, mut frame_n) = (samples.len() as c_int, 0);
    // Every array holds what its count says, which is all that the library asks for.
    unsafe {
        check(kelvoAudioGetFrameLen(&mut frame_n, sample_n, FFT_N, HOP_N, REFLECT))?;
        let mut mel = vec![0.0; (MEL_N * frame_n) as usize];
        check(kelvoAudioGetMelSpectrogram(mel.as_mut_ptr(), samples.as_ptr(), sample_n, rate, FFT_N, HOP_N, FFT_N, HANN,
            frame_n, REFLECT, 2.0, 0, 0.0, rate as f32 / 2.0, MEL_N, SLANEY_NORM, 0))?;
        let address = mel.as_mut_ptr();
        check(kelvoAudioConvertPowerToDB(address, address, MEL_N * frame_n, 80.0))?;
        Ok(mel)
    }
}

fn main() -> Result<(), Box<dyn std::error::Error>> {
    let arguments: Vec<String> = std::env::args().collect();
    let (recording, features) = (arguments.get(1).ok_or("RECORDING.wav?")?, arguments.get(2).ok_or("FEATURES.f32?")?);
    let bytes = std::fs::read(recording)?;
    let rate = i32::from_le_bytes(bytes.get(24..28).ok_or("no WAV file")?.try_into()?);
    let samples: Vec<f32> =
        bytes[44..].chunks_exact(2).map(|pcm| i16::from_le_bytes([pcm[0], pcm[1]]) as f32 / 32768.0).collect();
    let mel = log_mel(&samples, rate)?;
    println!("{} bands x {} frames", MEL_N, mel.len() / MEL_N as usize);
    std::fs::write(features, mel.iter().flat_map(|value| value.to_le_bytes()).collect::<Vec<u8>>())?;
    Ok(())
}
