<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>sonmere::BusRow</name>
    <message numerus="yes">
        <source>%1 · %n frame(s) lost</source>
        <translation>
            <numerusform>%1 · %n frame lost</numerusform>
            <numerusform>%1 · %n frames lost</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::InputPage</name>
    <message numerus="yes">
        <source>Brought back %n time(s)</source>
        <translation>
            <numerusform>Brought back %n time</numerusform>
            <numerusform>Brought back %n times</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::LibraryModel</name>
    <message numerus="yes">
        <source>%n recording(s) are in the trash.</source>
        <translation>
            <numerusform>%n recording is in the trash.</numerusform>
            <numerusform>%n recordings are in the trash.</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::LibraryTree</name>
    <message numerus="yes">
        <source>%1, %n file(s)</source>
        <translation>
            <numerusform>%1, %n file</numerusform>
            <numerusform>%1, %n files</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Waveform, %n mark(s)</source>
        <translation>
            <numerusform>Waveform, %n mark</numerusform>
            <numerusform>Waveform, %n marks</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::MixCard</name>
    <message numerus="yes">
        <source>Brought back to life %n time(s)</source>
        <translation>
            <numerusform>Brought back to life %n time</numerusform>
            <numerusform>Brought back to life %n times</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::PresetsCard</name>
    <message numerus="yes">
        <source>%1: routes of %n app(s)</source>
        <translation>
            <numerusform>%1: routes of %n app</numerusform>
            <numerusform>%1: routes of %n apps</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::ProfilesCard</name>
    <message numerus="yes">
        <source>%n app(s)</source>
        <translation>
            <numerusform>%n app</numerusform>
            <numerusform>%n apps</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::QuitFlow</name>
    <message numerus="yes">
        <source>%n file(s) are being recorded. They are completed before Sonmere ends, and nothing that was recorded is lost.</source>
        <translation>
            <numerusform>%n file is being recorded. It is completed before Sonmere ends, and nothing that was recorded is lost.</numerusform>
            <numerusform>%n files are being recorded. They are completed before Sonmere ends, and nothing that was recorded is lost.</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::Timeline</name>
    <message numerus="yes">
        <source>Playhead at %1 of %2, %n track(s)</source>
        <translation>
            <numerusform>Playhead at %1 of %2, %n track</numerusform>
            <numerusform>Playhead at %1 of %2, %n tracks</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::Tray</name>
    <message numerus="yes">
        <source>Sonmere records %n file(s).</source>
        <translation>
            <numerusform>Sonmere records %n file.</numerusform>
            <numerusform>Sonmere records %n files.</numerusform>
        </translation>
    </message>
</context>
</TS>
