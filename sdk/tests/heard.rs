// A host in Rust, which knows the library by its names alone: plays three seconds of a tone on either side, one of PCM,
// one of G.711, and counts the reports. What was heard is judged by who started it.
use std::ffi::{c_void, CStr};
use std::os::raw::c_char;
use std::ptr;
use std::sync::atomic::{AtomicU32, Ordering};
use std::thread;
use std::time::Duration;

const MILLI_SEC: i64 = 1_000_000;
const FRAMES: u32 = 150;
const LEAD: i64 = 200 * MILLI_SEC;
// A frame that a busy machine hands over too late is not rendered, but not all of three seconds are late.
const LEAST_FRAMES: u32 = 5;

#[repr(C)]
struct StreamFormat {
    size: u32,
    coding: u32,
    frequency_hz: u32,
    channels: u32,
    bits_per_sample: u32,
    law: u32,
    decoder_config: *const u8,
    decoder_config_bytes: u32,
    reserved: u32,
}

#[repr(C)]
struct Frame {
    size: u32,
    bytes: u32,
    data: *const c_void,
    timestamp_nano_sec: i64,
    presentation_nano_sec: i64,
}

#[repr(C)]
struct Report {
    size: u32,
    is_rendered: u32,
    frame_number: u64,
    requested_nano_sec: i64,
    achieved_nano_sec: i64,
    render_nano_sec: i64,
}

type Engine = *mut c_void;
type Session = *mut c_void;
type ReportCallback = extern "C" fn(*mut c_void, *const Report);

#[link(name = "rendereraudio_c")]
#[allow(non_snake_case)]
extern "C" {
    fn RaGetStatusText(status: i32) -> *const c_char;
    fn RaGetTimeNanoSec() -> i64;
    fn RaOpen(options: *const c_void, engine: *mut Engine) -> i32;
    fn RaClose(engine: Engine) -> i32;
    fn RaSessionOpen(
        engine: Engine,
        format: *const StreamFormat,
        callback: Option<ReportCallback>,
        context: *mut c_void,
        session: *mut Session,
    ) -> i32;
    fn RaSessionClose(session: Session) -> i32;
    fn RaSessionSubmit(session: Session, frame: *const Frame) -> i32;
    fn RaSessionSetVolume(session: Session, volume: f32, balance: f32) -> i32;
}

extern "C" fn on_report(context: *mut c_void, report: *const Report) {
    // The context is the count, which outlives the session.
    let (count, report) = unsafe { (&*(context as *const AtomicU32), &*report) };
    let error = (report.achieved_nano_sec - report.requested_nano_sec).abs();
    if report.is_rendered == 1 && error < 1000 * MILLI_SEC {
        count.fetch_add(1, Ordering::Relaxed);
    }
}

fn check(what: &str, status: i32) {
    let text = unsafe { CStr::from_ptr(RaGetStatusText(status)) };
    assert_eq!(status, 0, "{}: {}", what, text.to_string_lossy());
}

fn open(engine: Engine, coding: u32, frequency_hz: u32, bits: u32, balance: f32, count: &AtomicU32) -> Session {
    let format = StreamFormat {
        size: std::mem::size_of::<StreamFormat>() as u32,
        coding,
        frequency_hz,
        channels: 1,
        bits_per_sample: bits,
        law: 0,
        decoder_config: ptr::null(),
        decoder_config_bytes: 0,
        reserved: 0,
    };
    let mut session = ptr::null_mut();
    let context = count as *const AtomicU32 as *mut c_void;
    check("session", unsafe { RaSessionOpen(engine, &format, Some(on_report), context, &mut session) });
    check("balance", unsafe { RaSessionSetVolume(session, 1.0, balance) });
    session
}

fn submit<Sample>(session: Session, samples: &[Sample], place: i64, start: i64) {
    let frame = Frame {
        size: std::mem::size_of::<Frame>() as u32,
        bytes: std::mem::size_of_val(samples) as u32,
        data: samples.as_ptr() as *const c_void,
        timestamp_nano_sec: 1000 * MILLI_SEC + place,
        presentation_nano_sec: start + place + LEAD,
    };
    check("submit", unsafe { RaSessionSubmit(session, &frame) });
}

fn main() {
    // 400 Hz at 48000 Hz, and 500 Hz at 8000 Hz: 8316 and -8316 by the mu law.
    let pcm_samples: Vec<i16> = (0..960).map(|i| if i % 120 < 60 { 8000 } else { -8000 }).collect();
    let g711_codes: Vec<u8> = (0..160).map(|i| if i % 16 < 8 { 0x9F } else { 0x1F }).collect();
    let (pcm_count, g711_count) = (AtomicU32::new(0), AtomicU32::new(0));
    let mut engine = ptr::null_mut();
    check("open", unsafe { RaOpen(ptr::null(), &mut engine) });
    let pcm = open(engine, 0x300, 48000, 16, 0.0, &pcm_count);
    let g711 = open(engine, 0x301, 8000, 8, 1.0, &g711_count);
    let start = unsafe { RaGetTimeNanoSec() };
    for number in 0..FRAMES as i64 {
        let place = number * 20 * MILLI_SEC;
        while unsafe { RaGetTimeNanoSec() } < start + place {
            thread::sleep(Duration::from_millis(2));
        }
        submit(pcm, &pcm_samples, place, start);
        submit(g711, &g711_codes, place, start);
    }
    thread::sleep(Duration::from_millis(500));
    check("close session", unsafe { RaSessionClose(pcm) });
    check("close", unsafe { RaClose(engine) });
    for count in [&pcm_count, &g711_count] {
        assert!(count.load(Ordering::Relaxed) >= LEAST_FRAMES, "reports");
    }
}
