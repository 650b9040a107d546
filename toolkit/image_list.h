// Every picture of the editor, by rule: the film strips (one file per frame)
// and the single images, with their design sizes at 100 percent and the stem
// of the embedded file that serves them. Read by the image table at run time
// and by the art generator at build time, so the two can't disagree.
//
// A picture's file is "<folder>/lmx/<stem><frame><suffix>.png" for a strip
// frame and "<folder>/lmx/<stem>.png" for a single image, in the folders
// "res/100" (art for 100 percent) and "res/200" (twice the design size). The
// knob layers are the same pictures in the unipolar and bipolar strips, so
// both strips are served by the unipolar files.
#pragma once

// X(id, name, designWidth, designHeight, firstFrame, lastFrame, fileStem, fileSuffix)
#define UI_IMAGE_STRIPS(X) \
    X(STRIP_DIAL_NORMAL_UNI_MAIN, "DialNormalUniMainLayer", 56, 54, 10, 90, "LathemoorFXSynthDialNormalUniMainLayer", "") \
    X(STRIP_DIAL_NORMAL_BI_MAIN, "DialNormalBiMainLayer", 56, 54, 10, 90, "LathemoorFXSynthDialNormalUniMainLayer", "") \
    X(STRIP_DIAL_NORMAL_UNI_MOD, "DialNormalUniModLayer", 56, 54, 10, 90, "LathemoorFXSynthDialNormalUniModLayer", "") \
    X(STRIP_DIAL_NORMAL_BI_MOD, "DialNormalBiModLayer", 56, 54, 10, 90, "LathemoorFXSynthDialNormalBiModLayer", "") \
    X(STRIP_DIAL_SMALL_UNI_MAIN, "DialSmallUniMainLayer", 40, 40, 10, 90, "LathemoorFXSynthDialSmallUniMainLayer", "") \
    X(STRIP_DIAL_SMALL_BI_MAIN, "DialSmallBiMainLayer", 40, 40, 10, 90, "LathemoorFXSynthDialSmallUniMainLayer", "") \
    X(STRIP_DIAL_SMALL_UNI_MOD, "DialSmallUniModLayer", 40, 40, 10, 90, "LathemoorFXSynthDialSmallUniModLayer", "") \
    X(STRIP_DIAL_SMALL_BI_MOD, "DialSmallBiModLayer", 40, 40, 10, 90, "LathemoorFXSynthDialSmallBiModLayer", "") \
    X(STRIP_DIAL_TINY_UNI_MAIN, "DialTinyUniMainLayer", 40, 40, 10, 90, "LathemoorFXSynthDialTinyUniMainLayer", "") \
    X(STRIP_DIAL_TINY_BI_MAIN, "DialTinyBiMainLayer", 40, 40, 10, 90, "LathemoorFXSynthDialTinyUniMainLayer", "") \
    X(STRIP_DIAL_TINY_UNI_MOD, "DialTinyUniModLayer", 40, 40, 10, 90, "LathemoorFXSynthDialTinyUniModLayer", "") \
    X(STRIP_DIAL_TINY_BI_MOD, "DialTinyBiModLayer", 40, 40, 10, 90, "LathemoorFXSynthDialTinyBiModLayer", "") \
    X(STRIP_SLIDER, "Slider", 29, 94, 0, 100, "LathemoorFXSynthSlider", "_")

// X(id, name, designWidth, designHeight); the file stem is "LathemoorFX" name.
#define UI_IMAGE_SINGLES(X) \
    X(IMAGE_PAGE_MAIN, "PageMain", 1068, 573) \
    X(IMAGE_ABOUT_PAGE, "AboutPage", 624, 363) \
    X(IMAGE_UNIT_POLYRHYTHMIC_DELAY, "UnitPolyrhythmicDelay", 448, 79) \
    X(IMAGE_UNIT_PING_PONG_DELAY, "UnitPingPongDelay", 429, 79) \
    X(IMAGE_UNIT_DISTORTION, "UnitDistortion", 450, 81) \
    X(IMAGE_UNIT_CHORUS, "UnitChorus", 450, 81) \
    X(IMAGE_UNIT_PHASER, "UnitPhaser", 449, 81) \
    X(IMAGE_UNIT_EQ, "UnitEQ", 449, 81) \
    X(IMAGE_UNIT_TRANCE_GATE, "UnitTranceGate", 450, 81) \
    X(IMAGE_UNIT_REVERB, "UnitReverb", 450, 81) \
    X(IMAGE_UNIT_COMPRESSOR, "UnitCompressor", 450, 81) \
    X(IMAGE_ADD_BUTTON, "AddButton", 78, 25) \
    X(IMAGE_INSERT_BUTTON, "InsertButton", 78, 23) \
    X(IMAGE_MOVE_BUTTON, "MoveButton", 49, 23) \
    X(IMAGE_DELETE_BUTTON, "DeleteButton", 25, 23) \
    X(IMAGE_SETTINGS_BUTTON, "SettingsButton", 78, 29) \
    X(IMAGE_MODULATOR_BUTTON_FOCUSED, "ModulatorButtonFocused", 50, 38) \
    X(IMAGE_MODULATOR_BUTTON_NOT_FOCUSED, "ModulatorButtonNotFocused", 50, 38) \
    X(IMAGE_MODULATOR_LABELS, "ModulatorLabels", 150, 38) \
    X(IMAGE_CHECKBOX_OFF, "CheckboxOff", 19, 21) \
    X(IMAGE_CHECKBOX_ON, "CheckboxOn", 19, 22) \
    X(IMAGE_CURVE_HANDLE_ENDPOINT, "CurveHandleEndpoint", 13, 13) \
    X(IMAGE_CURVE_HANDLE_TENSION, "CurveHandleTension", 13, 13) \
    X(IMAGE_DIAL_DISABLED_NORMAL, "DialDisabledNormal", 37, 39) \
    X(IMAGE_DIAL_DISABLED_SMALL, "DialDisabledSmall", 29, 32) \
    X(IMAGE_SLIDER_DISABLED, "SliderDisabled", 23, 89) \
    X(IMAGE_USED_INDICATOR, "UsedIndicator", 12, 12) \
    X(IMAGE_UNUSED_INDICATOR, "UnusedIndicator", 6, 6) \
    X(IMAGE_UP_BUTTON, "UpButton", 25, 23) \
    X(IMAGE_DOWN_BUTTON, "DownButton", 25, 23) \
    X(IMAGE_LFO_SHAPES, "LFOShapes", 38, 162) \
    X(IMAGE_PING_PONG_DELAY, "PingPongDelay", 429, 79) \
    X(IMAGE_POLYRHYTHMIC_DELAY, "PolyrhythmicDelay", 448, 79)
