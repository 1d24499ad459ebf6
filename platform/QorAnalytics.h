/**
 * What the QOR's firmware and the plug-in agree on about analytics: how an entry of a batch is laid out, and which keys
 * there are.
 *
 * An entry is 7 bytes, packed, little-endian: version, operation code and key index of one byte each, and a signed
 * value of four. A batch is entries laid end to end. Codes from `kQorAnalyticsPush` on push the value more than once:
 * code `kQorAnalyticsPush` + n pushes it n + 1 times. The value of a distribution has 16 fraction bits.
 */
#ifndef PLATFORM_QOR_ANALYTICS_H
#define PLATFORM_QOR_ANALYTICS_H

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kQorAnalyticsEntrySize = 7,
    kQorAnalyticsKeyCount = 58,
    kQorAnalyticsVersion = 0x3A, /* the count of the keys: an entry of another one is for another table */
};

/** Operation codes. */
enum {
    kQorAnalyticsNone = 0,
    kQorAnalyticsClearScalar = 1,
    kQorAnalyticsSetScalar = 2,
    kQorAnalyticsAddToScalar = 3,
    kQorAnalyticsClearDistribution = 4,
    kQorAnalyticsSetDistribution = 5,
    kQorAnalyticsPush = 6, /* once */
};

/**
 * The key strings by their index, plain ASCII. The analytics store matches keys by their text, so irregular
 * spellings (the doubled prefix, "approched", the repeated component word) are kept exactly: intended.
 */
static const char *const kQorAnalyticsKeys[kQorAnalyticsKeyCount] = {
    /*  0 */ "com.ondre.zel.button.click.count",
    /*  1 */ "com.ondre.zel.button.single_click.count",
    /*  2 */ "com.ondre.zel.button.double_click.count",
    /*  3 */ "com.ondre.zel.button.triple_click.count",
    /*  4 */ "com.ondre.zel.button.long_press.count",
    /*  5 */ "com.ondre.zel.button.touch_with_click.count",
    /*  6 */ "com.ondre.zel.button.touch_no_click.count",
    /*  7 */ "com.ondre.zel.button.click.pico",
    /*  8 */ "com.ondre.zel.button.touch.pico",
    /*  9 */ "com.ondre.zel.button.click_to_pico.time",
    /* 10 */ "com.ondre.zel.button.touch_to_pico.time",
    /* 11 */ "com.ondre.zel.button.click.duration",
    /* 12 */ "com.ondre.zel.button.touch.duration",
    /* 13 */ "com.ondre.zel.button.touch_to_first_click.time",
    /* 14 */ "com.ondre.zel.button.touch_to_last_unclick.time",
    /* 15 */ "com.ondre.zel.button.first_click_to_last_unclick.time",
    /* 16 */ "com.ondre.zel.button.first_click_to_untouch.time",
    /* 17 */ "com.ondre.zel.button.last_unclick_to_untouch.time",
    /* 18 */ "com.ondre.zel.button.critical_error.count",
    /* 19 */ "com.ondre.zel.button.timeout.count",
    /* 20 */ "com.ondre.zel.prox.event.ext_bl_capture.count",
    /* 21 */ "com.ondre.zel.prox.event.smudge_timeout.bh.count",
    /* 22 */ "com.ondre.zel.prox.event.smudge_timeout.nonbh.count",
    /* 23 */ "com.ondre.zel.prox.event.high_amb.count",
    /* 24 */ "com.ondre.zel.prox.first_pocket_signal_sample.kcpss",
    /* 25 */ "com.ondre.com.zel.prox.baseline_to_trigger.time.dist",
    /* 26 */ "com.ondre.zel.prox.ext_bl_capture.signal_delta.dist",
    /* 27 */ "com.ondre.zel.prox.ref_rate_increase.percent.dist",
    /* 28 */ "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture.dist",
    /* 29 */ "com.ondre.zel.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist",
    /* 30 */ "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist",
    /* 31 */ "com.ondre.zel.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist",
    /* 32 */ "com.ondre.zel.button.touch_with_click.ap_on.duration",
    /* 33 */ "com.ondre.zel.button.touch_with_no_click.ap_on.duration",
    /* 34 */ "com.ondre.zel.button.touch_with_click.ap_off.duration",
    /* 35 */ "com.ondre.zel.button.touch_with_no_click.ap_off.duration",
    /* 36 */ "com.ondre.zel.button.touch.ap_on.duration",
    /* 37 */ "com.ondre.zel.button.touch.ap_off.duration",
    /* 38 */ "com.ondre.zel.kiru.reset_hb_count",
    /* 39 */ "com.ondre.zel.kiru.reset_count",
    /* 40 */ "com.ondre.zel.kiru.ibfd_timeout_count",
    /* 41 */ "com.ondre.zel.tovrane.reset_timeout_count",
    /* 42 */ "com.ondre.zel.button.pellox.cl_timeout.count",
    /* 43 */ "com.ondre.zel.button.pellox.cl_fault.count",
    /* 44 */ "com.ondre.zel.button.kiru_probe_failure_kiru_count",
    /* 45 */ "com.ondre.zel.button.force_sensor_probe_failure_count",
    /* 46 */ "com.ondre.zel.button.riv_probe_failure_count",
    /* 47 */ "com.ondre.zel.button.btmspk_probe_failure_count",
    /* 48 */ "com.ondre.zel.dravo.doppler.subscribe_count",
    /* 49 */ "com.ondre.zel.dravo.doppler.unsubscribe_count",
    /* 50 */ "com.ondre.zel.audio.riv.on.duration",
    /* 51 */ "com.ondre.zel.audio.riv.off.duration",
    /* 52 */ "com.ondre.zel.audio.riv.prewarm.duration",
    /* 53 */ "com.ondre.zel.audio.btmspk.on.duration",
    /* 54 */ "com.ondre.zel.audio.btmspk.off.duration",
    /* 55 */ "com.ondre.zel.audio.btmspk.prewarm.duration",
    /* 56 */ "com.ondre.zel.ttw.ttw_by_cell_distribution",
    /* 57 */ "com.ondre.zel.test",
};

#ifdef __cplusplus
}
#endif

#endif
