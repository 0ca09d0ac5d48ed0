<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>QObject</name>
    <message>
        <source>Volume</source>
        <translation>Lautstärke</translation>
    </message>
</context>
<context>
    <name>RuleWords</name>
    <message>
        <source>When %1 plays</source>
        <translation>Wenn %1 spielt</translation>
    </message>
    <message>
        <source>When the device %1 is there</source>
        <translation>Wenn das Gerät %1 da ist</translation>
    </message>
    <message>
        <source>When the microphone is on</source>
        <translation>Wenn das Mikrofon an ist</translation>
    </message>
    <message>
        <source>apply the profile %1</source>
        <translation>wende das Profil %1 an</translation>
    </message>
    <message>
        <source>route %1 to %2</source>
        <translation>leite %1 auf %2</translation>
    </message>
    <message>
        <source>route %1 to the default output</source>
        <translation>leite %1 auf die Standardausgabe</translation>
    </message>
    <message>
        <source>set the volume of %1 to %2</source>
        <translation>setze die Lautstärke von %1 auf %2</translation>
    </message>
    <message>
        <source>mute %1</source>
        <translation>schalte %1 stumm</translation>
    </message>
    <message>
        <source>unmute %1</source>
        <translation>hebe die Stummschaltung von %1 auf</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>off</source>
        <translation>aus</translation>
    </message>
    <message>
        <source>in force</source>
        <translation>in Kraft</translation>
    </message>
    <message>
        <source>waits</source>
        <translation>wartet</translation>
    </message>
</context>
<context>
    <name>sonmere</name>
    <message>
        <source>--language needs a language, as &quot;de&quot;.</source>
        <translation>--language braucht eine Sprache, etwa „de“.</translation>
    </message>
    <message>
        <source>--shots needs a folder for the pictures.</source>
        <translation>--shots braucht einen Ordner für die Bilder.</translation>
    </message>
    <message>
        <source>--shots: the folder %1 can&apos;t be made.</source>
        <translation>--shots: Der Ordner %1 kann nicht angelegt werden.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is no option of the window; --help lists them.</source>
        <translation>„%1“ ist keine Option des Fensters; --help zählt sie auf.</translation>
    </message>
    <message>
        <source>sonmere-window [--demo] [--at-login] [--language LANG] [--shots DIR] [FILE...]
  FILE         audio files: one opens in the editor, several side by side
  --demo       three apps that play on the embedded server: to look around, also without audio
  --at-login   waits in the tray
  --language   of the texts: en, de
  --shots DIR  pictures of every page, without a display
</source>
        <translation>sonmere-window [--demo] [--at-login] [--language LANG] [--shots DIR] [DATEI...]
  DATEI        Audiodateien: eine öffnet sich im Editor, mehrere nebeneinander
  --demo       drei Apps, die auf dem eingebauten Server spielen: zum Umsehen, auch ohne Ton
  --at-login   wartet in der Leiste
  --language   der Texte: en, de
  --shots DIR  Bilder jeder Seite, ohne Bildschirm
</translation>
    </message>
    <message>
        <source>Welcome to the new Sonmere</source>
        <translation>Willkommen im neuen Sonmere</translation>
    </message>
    <message>
        <source>Every app has its own volume, from silence to 400 %, with an equaliser and a limiter.</source>
        <translation>Jede App hat ihre eigene Lautstärke, von Stille bis 400 %, mit Entzerrer und Begrenzer.</translation>
    </message>
    <message>
        <source>Each can be routed to a Track of its own, and every Track be recorded to a file of its own.</source>
        <translation>Jede kann auf eine eigene Spur geleitet, und jede Spur in eine eigene Datei aufgenommen werden.</translation>
    </message>
    <message>
        <source>What you had set up before is as you left it.</source>
        <translation>Was du eingerichtet hattest, ist, wie du es verlassen hast.</translation>
    </message>
    <message>
        <source>Your list of apps was tidied up</source>
        <translation>Deine Liste der Apps wurde aufgeräumt</translation>
    </message>
    <message>
        <source>System sounds and other services of the system have rows of their own now. Pins and hidden rows of them from the version before were taken back.</source>
        <translation>Systemklänge und andere Dienste des Systems haben nun eigene Zeilen. Was von ihnen in der vorigen Version angeheftet oder ausgeblendet war, wurde zurückgenommen.</translation>
    </message>
    <message>
        <source>All your other apps, with their volumes and routes, are untouched. Hidden rows are behind &quot;Hidden too&quot;.</source>
        <translation>Alle anderen Apps sind mit Lautstärken und Wegen unverändert. Ausgeblendete Zeilen zeigt „Auch ausgeblendete“.</translation>
    </message>
    <message>
        <source>What is new</source>
        <translation>Was neu ist</translation>
    </message>
    <message>
        <source>The output has an equaliser and a limiter of its own, at the bottom of the list of apps.</source>
        <translation>Die Ausgabe hat einen eigenen Entzerrer und Begrenzer, unten an der Liste der Apps.</translation>
    </message>
    <message>
        <source>Recordings show how they come along, and a drive that stalls is told at once.</source>
        <translation>Aufnahmen zeigen, wie sie vorankommen, und ein Laufwerk, das hängt, wird sofort gemeldet.</translation>
    </message>
    <message>
        <source>The guide (F1) shows how to set up a call, a podcast or a stream.</source>
        <translation>Die Anleitung (F1) zeigt, wie man einen Anruf, einen Podcast oder einen Stream einrichtet.</translation>
    </message>
    <message>
        <source>Continue</source>
        <translation>Weiter</translation>
    </message>
</context>
<context>
    <name>sonmere::AppRow</name>
    <message>
        <source>Effects</source>
        <translation>Effekte</translation>
    </message>
    <message>
        <source>Mute</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>Show equaliser and limiter</source>
        <translation>Entzerrer und Begrenzer zeigen</translation>
    </message>
    <message>
        <source>More</source>
        <translation>Mehr</translation>
    </message>
    <message>
        <source>Unpin</source>
        <translation>Loslösen</translation>
    </message>
    <message>
        <source>Pin to the list</source>
        <translation>An die Liste heften</translation>
    </message>
    <message>
        <source>Show again</source>
        <translation>Wieder zeigen</translation>
    </message>
    <message>
        <source>Hide</source>
        <translation>Ausblenden</translation>
    </message>
    <message>
        <source>Remove from the list</source>
        <translation>Von der Liste nehmen</translation>
    </message>
    <message>
        <source>routed when it plays</source>
        <translation>wird geleitet, sobald es spielt</translation>
    </message>
    <message>
        <source>not running</source>
        <translation>läuft nicht</translation>
    </message>
    <message>
        <source>untouched</source>
        <translation>unberührt</translation>
    </message>
    <message>
        <source>hidden, untouched</source>
        <translation>ausgeblendet, unberührt</translation>
    </message>
    <message>
        <source>routed</source>
        <translation>geleitet</translation>
    </message>
    <message>
        <source>routed, %1 ms late</source>
        <translation>geleitet, %1 ms später</translation>
    </message>
    <message>
        <source>playing</source>
        <translation>spielt</translation>
    </message>
    <message>
        <source>not controlled</source>
        <translation>nicht gesteuert</translation>
    </message>
    <message>
        <source>Volume of %1</source>
        <translation>Lautstärke von %1</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation>%1 stumm schalten</translation>
    </message>
    <message>
        <source>Equaliser and limiter of %1</source>
        <translation>Entzerrer und Begrenzer von %1</translation>
    </message>
    <message>
        <source>More for %1</source>
        <translation>Mehr zu %1</translation>
    </message>
    <message>
        <source>Plug-ins…</source>
        <translation>Plug-ins …</translation>
    </message>
    <message>
        <source>Monitor</source>
        <translation>Monitor</translation>
    </message>
    <message>
        <source>Hear it on the monitor</source>
        <translation>Auf dem Monitor mithören</translation>
    </message>
    <message>
        <source>Hear %1 on the monitor</source>
        <translation>%1 auf dem Monitor mithören</translation>
    </message>
    <message>
        <source>its device is away: on its bus</source>
        <translation>sein Gerät fehlt: auf seinem Bus</translation>
    </message>
</context>
<context>
    <name>sonmere::AppsPage</name>
    <message>
        <source>Apps</source>
        <translation>Apps</translation>
    </message>
    <message>
        <source>Search apps</source>
        <translation>Apps suchen</translation>
    </message>
    <message>
        <source>Hidden too</source>
        <translation>Auch ausgeblendete</translation>
    </message>
    <message>
        <source>Play a test sound</source>
        <translation>Testton abspielen</translation>
    </message>
    <message>
        <source>No audio-producing apps detected. Play audio in an app and refresh.</source>
        <translation>Keine App spielt Ton ab. Spiele in einer App etwas ab.</translation>
    </message>
    <message>
        <source>No app fits the search.</source>
        <translation>Keine App passt zur Suche.</translation>
    </message>
</context>
<context>
    <name>sonmere::BusRow</name>
    <message>
        <source>Rename</source>
        <translation>Umbenennen</translation>
    </message>
    <message>
        <source>Bridge</source>
        <translation>Brücke</translation>
    </message>
    <message>
        <source>Rename %1</source>
        <translation>%1 umbenennen</translation>
    </message>
    <message>
        <source>Level of %1 so far</source>
        <translation>Pegel von %1 bisher</translation>
    </message>
    <message>
        <source>%1 · %2</source>
        <translation>%1 · %2</translation>
    </message>
    <message numerus="yes">
        <source>%1 · %n frame(s) lost</source>
        <translation>
            <numerusform>%1 · %n Frame verloren</numerusform>
            <numerusform>%1 · %n Frames verloren</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 · silent</source>
        <translation>%1 · still</translation>
    </message>
    <message>
        <source>Plug-ins…</source>
        <translation>Plug-ins …</translation>
    </message>
    <message>
        <source>Plug-ins on %1</source>
        <translation>Plug-ins auf %1</translation>
    </message>
    <message>
        <source>Hear it on the monitor</source>
        <translation>Auf dem Monitor mithören</translation>
    </message>
    <message>
        <source>Hear %1 on the monitor</source>
        <translation>%1 auf dem Monitor mithören</translation>
    </message>
</context>
<context>
    <name>sonmere::BusesModel</name>
    <message>
        <source>Bridge</source>
        <translation>Brücke</translation>
    </message>
    <message>
        <source>Track %1</source>
        <translation>Spur %1</translation>
    </message>
    <message>
        <source>To other programs</source>
        <translation>Zu anderen Programmen</translation>
    </message>
    <message>
        <source>Tracks</source>
        <translation>Spuren</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
</context>
<context>
    <name>sonmere::CombinedInputCard</name>
    <message>
        <source>not connected</source>
        <translation>nicht verbunden</translation>
    </message>
    <message>
        <source>channel %1</source>
        <translation>Kanal %1</translation>
    </message>
    <message>
        <source>channels %1 to %2</source>
        <translation>Kanäle %1 bis %2</translation>
    </message>
    <message>
        <source>Combined input</source>
        <translation>Zusammengelegter Eingang</translation>
    </message>
    <message>
        <source>Separate</source>
        <translation>Trennen</translation>
    </message>
    <message>
        <source>Inputs to combine</source>
        <translation>Eingänge, die zusammengelegt werden</translation>
    </message>
    <message>
        <source>Name of the device</source>
        <translation>Name des Geräts</translation>
    </message>
    <message>
        <source>Name of the combined device</source>
        <translation>Name des zusammengelegten Geräts</translation>
    </message>
    <message>
        <source>Combine</source>
        <translation>Zusammenlegen</translation>
    </message>
    <message>
        <source>Several microphones as one device, each on channels of its own. Choose two or more.</source>
        <translation>Mehrere Mikrofone als ein Gerät, jedes auf eigenen Kanälen. Wähle zwei oder mehr.</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is there. %2</source>
        <translation>„%1“ ist da. %2</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not there. %2</source>
        <translation>„%1“ ist nicht da. %2</translation>
    </message>
</context>
<context>
    <name>sonmere::DAWCard</name>
    <message>
        <source>Multi-track device</source>
        <translation>Mehrspurgerät</translation>
    </message>
    <message>
        <source>Make it anew</source>
        <translation>Neu anlegen</translation>
    </message>
    <message>
        <source>All eight Tracks as one device of sixteen channels, for a workstation</source>
        <translation>Alle acht Spuren als ein Gerät mit sechzehn Kanälen, für ein Studioprogramm</translation>
    </message>
    <message>
        <source>Make the multi-track device anew</source>
        <translation>Mehrspurgerät neu anlegen</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>On, but it is not there</source>
        <translation>An, aber es ist nicht da</translation>
    </message>
    <message>
        <source>On: &quot;%1&quot;, %2 channels in and %3 out; 1 and 2 are Track 1, 3 and 4 Track 2, and so on</source>
        <translation>An: „%1“, %2 Kanäle ein und %3 aus; 1 und 2 sind Spur 1, 3 und 4 Spur 2, und so weiter</translation>
    </message>
</context>
<context>
    <name>sonmere::EditorView</name>
    <message>
        <source>Back to the library</source>
        <translation>Zurück zur Bibliothek</translation>
    </message>
    <message>
        <source>Play</source>
        <translation>Abspielen</translation>
    </message>
    <message>
        <source>Loop</source>
        <translation>Schleife</translation>
    </message>
    <message>
        <source>Undo (Ctrl+Z)</source>
        <translation>Rückgängig (Strg+Z)</translation>
    </message>
    <message>
        <source>Redo (Ctrl+Shift+Z)</source>
        <translation>Wiederholen (Strg+Umschalt+Z)</translation>
    </message>
    <message>
        <source>Zoom out</source>
        <translation>Verkleinern</translation>
    </message>
    <message>
        <source>Zoom in</source>
        <translation>Vergrößern</translation>
    </message>
    <message>
        <source>Show all of it</source>
        <translation>Alles zeigen</translation>
    </message>
    <message>
        <source>Auto-set gain so peak hits -0.5 dBFS</source>
        <translation>Verstärkung so setzen, dass die Spitze -0,5 dBFS erreicht</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Part of the timeline in view</source>
        <translation>Gezeigter Teil der Zeitleiste</translation>
    </message>
    <message>
        <source>Measure loudness</source>
        <translation>Lautheit messen</translation>
    </message>
    <message>
        <source>Loudness and true peak of the chosen track as it is edited</source>
        <translation>Lautheit und wahre Spitze der gewählten Spur, wie sie bearbeitet ist</translation>
    </message>
    <message>
        <source>Loudness</source>
        <translation>Lautheit</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>Measuring…</source>
        <translation>Wird gemessen…</translation>
    </message>
    <message>
        <source>%1 LUFS, true peak %2 dBTP</source>
        <translation>%1 LUFS, wahre Spitze %2 dBTP</translation>
    </message>
    <message>
        <source>Exported to %1</source>
        <translation>Exportiert nach %1</translation>
    </message>
    <message>
        <source>The export of %1 is under way.</source>
        <translation>Der Export von %1 läuft noch.</translation>
    </message>
    <message>
        <source>The edits of %1 are in no file yet.</source>
        <translation>Die Bearbeitung von %1 steht noch in keiner Datei.</translation>
    </message>
    <message>
        <source>Leave the editor?</source>
        <translation>Editor verlassen?</translation>
    </message>
    <message>
        <source>Leave, and lose it</source>
        <translation>Verlassen und verwerfen</translation>
    </message>
    <message>
        <source>Stay</source>
        <translation>Bleiben</translation>
    </message>
</context>
<context>
    <name>sonmere::EffectsPanel</name>
    <message>
        <source>Limiter on</source>
        <translation>Begrenzer an</translation>
    </message>
    <message>
        <source>Limiter</source>
        <translation>Begrenzer</translation>
    </message>
    <message>
        <source> dBFS</source>
        <translation> dBFS</translation>
    </message>
    <message>
        <source>Limiter ceiling</source>
        <translation>Grenze des Begrenzers</translation>
    </message>
    <message>
        <source>Ceiling</source>
        <translation>Grenze</translation>
    </message>
    <message>
        <source>Plug-ins…</source>
        <translation>Plug-ins …</translation>
    </message>
</context>
<context>
    <name>sonmere::EqualiserCurve</name>
    <message>
        <source>Equaliser curve</source>
        <translation>Kurve des Entzerrers</translation>
    </message>
    <message>
        <source>The same values are in the fields below it.</source>
        <translation>Dieselben Werte stehen in den Feldern darunter.</translation>
    </message>
    <message>
        <source>100 Hz</source>
        <translation>100 Hz</translation>
    </message>
    <message>
        <source>1 kHz</source>
        <translation>1 kHz</translation>
    </message>
    <message>
        <source>10 kHz</source>
        <translation>10 kHz</translation>
    </message>
    <message>
        <source>+12 dB</source>
        <translation>+12 dB</translation>
    </message>
    <message>
        <source>-12 dB</source>
        <translation>-12 dB</translation>
    </message>
</context>
<context>
    <name>sonmere::EqualiserPanel</name>
    <message>
        <source>Equaliser on</source>
        <translation>Entzerrer an</translation>
    </message>
    <message>
        <source>Reset EQ</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Spectrum</source>
        <translation>Spektrum</translation>
    </message>
    <message>
        <source>Show what is playing behind the curve</source>
        <translation>Hinter der Kurve zeigen, was spielt</translation>
    </message>
    <message>
        <source>Low cut</source>
        <translation>Hochpass</translation>
    </message>
    <message>
        <source> Hz</source>
        <translation> Hz</translation>
    </message>
    <message>
        <source>Bell at</source>
        <translation>Glocke bei</translation>
    </message>
    <message>
        <source>Gain</source>
        <translation>Anhebung</translation>
    </message>
    <message>
        <source> dB</source>
        <translation> dB</translation>
    </message>
    <message>
        <source>Width (Q)</source>
        <translation>Breite (Q)</translation>
    </message>
    <message>
        <source>High cut</source>
        <translation>Tiefpass</translation>
    </message>
    <message>
        <source>Clear speech</source>
        <translation>Klare Sprache</translation>
    </message>
    <message>
        <source>Less rumble</source>
        <translation>Weniger Rumpeln</translation>
    </message>
    <message>
        <source>More bass</source>
        <translation>Mehr Bass</translation>
    </message>
    <message>
        <source>Softer treble</source>
        <translation>Weichere Höhen</translation>
    </message>
    <message>
        <source>Telephone</source>
        <translation>Telefon</translation>
    </message>
    <message>
        <source>Presets</source>
        <translation>Vorgaben</translation>
    </message>
</context>
<context>
    <name>sonmere::ExportSheet</name>
    <message>
        <source>MP3, %1 kb/s</source>
        <translation>MP3, %1 kb/s</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Render the whole session as a single mixed-down file</source>
        <translation>Die ganze Sitzung als eine gemischte Datei</translation>
    </message>
    <message>
        <source>Render each track to its own file (with edits applied)</source>
        <translation>Jede Spur als eigene Datei (wie bearbeitet)</translation>
    </message>
    <message>
        <source>What</source>
        <translation>Was</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>Choose…</source>
        <translation>Wählen…</translation>
    </message>
    <message>
        <source>To</source>
        <translation>Nach</translation>
    </message>
    <message>
        <source>File or folder of the export</source>
        <translation>Datei oder Ordner des Exports</translation>
    </message>
    <message>
        <source>What to export</source>
        <translation>Was exportiert wird</translation>
    </message>
    <message>
        <source>Progress of the export</source>
        <translation>Fortschritt des Exports</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Folder of the files</source>
        <translation>Ordner der Dateien</translation>
    </message>
    <message>
        <source>Export as</source>
        <translation>Exportieren als</translation>
    </message>
    <message>
        <source>Say where the export is to go.</source>
        <translation>Sag, wohin exportiert werden soll.</translation>
    </message>
    <message>
        <source>The export was cancelled; nothing was written.</source>
        <translation>Der Export wurde abgebrochen; nichts wurde geschrieben.</translation>
    </message>
</context>
<context>
    <name>sonmere::ExtraInputRow</name>
    <message>
        <source>Mute</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>%1, channel %2</source>
        <translation>%1, Kanal %2</translation>
    </message>
    <message>
        <source>Volume of %1</source>
        <translation>Lautstärke von %1</translation>
    </message>
    <message>
        <source>Pan of %1, -1 left to 1 right</source>
        <translation>Lage von %1, -1 links bis 1 rechts</translation>
    </message>
    <message>
        <source>Pan, -1 left to 1 right</source>
        <translation>Lage, -1 links bis 1 rechts</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation>%1 stumm schalten</translation>
    </message>
    <message>
        <source>Remove %1</source>
        <translation>%1 entfernen</translation>
    </message>
</context>
<context>
    <name>sonmere::GainBox</name>
    <message>
        <source>%1, as text</source>
        <translation>%1, als Text</translation>
    </message>
</context>
<context>
    <name>sonmere::GainSlider</name>
    <message>
        <source>Volume</source>
        <translation>Lautstärke</translation>
    </message>
</context>
<context>
    <name>sonmere::GuidePage</name>
    <message>
        <source>Chapters of the guide</source>
        <translation>Kapitel der Anleitung</translation>
    </message>
    <message>
        <source>Guide</source>
        <translation>Anleitung</translation>
    </message>
    <message>
        <source>Sonmere in five minutes</source>
        <translation>Sonmere in fünf Minuten</translation>
    </message>
    <message>
        <source>A call with music in it</source>
        <translation>Ein Anruf mit Musik</translation>
    </message>
    <message>
        <source>A podcast with three tracks</source>
        <translation>Ein Podcast mit drei Spuren</translation>
    </message>
    <message>
        <source>A stream with separate sound</source>
        <translation>Ein Stream mit getrenntem Ton</translation>
    </message>
    <message>
        <source>Keys</source>
        <translation>Tasten</translation>
    </message>
    <message>
        <source>Commands</source>
        <translation>Befehle</translation>
    </message>
</context>
<context>
    <name>sonmere::Hotkeys</name>
    <message>
        <source>Record, or stop</source>
        <translation>Aufnehmen oder anhalten</translation>
    </message>
    <message>
        <source>Microphone on or off</source>
        <translation>Mikrofon an oder aus</translation>
    </message>
    <message>
        <source>Everything louder</source>
        <translation>Alles lauter</translation>
    </message>
    <message>
        <source>Everything quieter</source>
        <translation>Alles leiser</translation>
    </message>
    <message>
        <source>Mix Mode on or off</source>
        <translation>Mix-Modus an oder aus</translation>
    </message>
    <message>
        <source>System audio on or off</source>
        <translation>Systemton an oder aus</translation>
    </message>
    <message>
        <source>Show the window</source>
        <translation>Fenster zeigen</translation>
    </message>
    <message>
        <source>%1 louder</source>
        <translation>%1 lauter</translation>
    </message>
    <message>
        <source>%1 quieter</source>
        <translation>%1 leiser</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation>%1 stumm schalten</translation>
    </message>
    <message>
        <source>%1 to the Bridge and back</source>
        <translation>%1 auf die Brücke und zurück</translation>
    </message>
    <message>
        <source>Off. The setting &quot;Keys that work in any program&quot; asks your desktop for them; pinned apps get some of their own.</source>
        <translation>Aus. Die Einstellung „Keys that work in any program“ bittet deine Arbeitsumgebung darum; angeheftete Apps bekommen eigene.</translation>
    </message>
    <message>
        <source>Your desktop is being asked.</source>
        <translation>Deine Arbeitsumgebung wird gefragt.</translation>
    </message>
    <message>
        <source>Your desktop has them; which keys they are is chosen in its settings.</source>
        <translation>Deine Arbeitsumgebung hat sie; welche Tasten es sind, wählst du in ihren Einstellungen.</translation>
    </message>
    <message>
        <source>Your desktop, or you, refused them. Switch the setting off and on to ask again.</source>
        <translation>Deine Arbeitsumgebung oder du habt sie abgelehnt. Schalte die Einstellung aus und ein, um wieder zu fragen.</translation>
    </message>
    <message>
        <source>Your desktop has none to give. In its own settings for the keyboard you can bind a key to a command.</source>
        <translation>Deine Arbeitsumgebung hat keine zu vergeben. In ihren eigenen Einstellungen der Tastatur kannst du eine Taste an einen Befehl binden.</translation>
    </message>
</context>
<context>
    <name>sonmere::InputPage</name>
    <message>
        <source>Microphone</source>
        <translation>Mikrofon</translation>
    </message>
    <message>
        <source>Automatic</source>
        <translation>Automatisch</translation>
    </message>
    <message>
        <source>Input 1</source>
        <translation>Eingang 1</translation>
    </message>
    <message>
        <source>Input 2</source>
        <translation>Eingang 2</translation>
    </message>
    <message>
        <source>Inputs 1 and 2 as stereo</source>
        <translation>Eingänge 1 und 2 als Stereo</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>Channels</source>
        <translation>Kanäle</translation>
    </message>
    <message>
        <source>Sound</source>
        <translation>Klang</translation>
    </message>
    <message>
        <source>Volume of the microphone</source>
        <translation>Lautstärke des Mikrofons</translation>
    </message>
    <message>
        <source>Level of the microphone as it comes</source>
        <translation>Pegel des Mikrofons, wie es kommt</translation>
    </message>
    <message>
        <source>Level of the microphone as others hear it</source>
        <translation>Pegel des Mikrofons, wie andere es hören</translation>
    </message>
    <message>
        <source>Equaliser</source>
        <translation>Entzerrer</translation>
    </message>
    <message>
        <source>Limiter</source>
        <translation>Begrenzer</translation>
    </message>
    <message>
        <source> dBFS</source>
        <translation> dBFS</translation>
    </message>
    <message>
        <source>Limiter ceiling</source>
        <translation>Grenze des Begrenzers</translation>
    </message>
    <message>
        <source>As it comes</source>
        <translation>Wie es kommt</translation>
    </message>
    <message>
        <source>As others hear it</source>
        <translation>Wie andere es hören</translation>
    </message>
    <message>
        <source>Volume</source>
        <translation>Lautstärke</translation>
    </message>
    <message>
        <source>Also into Tracks</source>
        <translation>Auch auf Spuren</translation>
    </message>
    <message>
        <source>Microphone into %1</source>
        <translation>Mikrofon auf %1</translation>
    </message>
    <message>
        <source>Additional inputs</source>
        <translation>Weitere Eingänge</translation>
    </message>
    <message>
        <source>Channel </source>
        <translation>Kanal </translation>
    </message>
    <message>
        <source>Channel of the new input</source>
        <translation>Kanal des neuen Eingangs</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Name of the new input</source>
        <translation>Name des neuen Eingangs</translation>
    </message>
    <message>
        <source>Add</source>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>Default input</source>
        <translation>Standardeingabe</translation>
    </message>
    <message>
        <source>Keep it</source>
        <translation>Beibehalten</translation>
    </message>
    <message>
        <source>Device that stays the default input</source>
        <translation>Gerät, das Standardeingabe bleibt</translation>
    </message>
    <message>
        <source>Choose a device</source>
        <translation>Ein Gerät wählen</translation>
    </message>
    <message>
        <source>On, until the chosen device is back</source>
        <translation>An, bis das gewählte Gerät zurück ist</translation>
    </message>
    <message>
        <source>On, converted from %1 Hz</source>
        <translation>An, umgerechnet von %1 Hz</translation>
    </message>
    <message>
        <source>On: whoever reads the bridge hears you</source>
        <translation>An: Wer der Brücke zuhört, hört dich</translation>
    </message>
    <message>
        <source>Waiting</source>
        <translation>Wartet</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>%1 (not connected)</source>
        <translation>%1 (nicht verbunden)</translation>
    </message>
    <message>
        <source>Inputs %1</source>
        <translation>Eingänge %1</translation>
    </message>
    <message>
        <source>Another program fights for it, so it is left alone for a while</source>
        <translation>Ein anderes Programm kämpft darum, darum bleibt es eine Weile in Ruhe</translation>
    </message>
    <message numerus="yes">
        <source>Brought back %n time(s)</source>
        <translation>
            <numerusform>%n Mal zurückgeholt</numerusform>
            <numerusform>%n Mal zurückgeholt</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 came up; choose it above to use it</source>
        <translation>%1 ist da; wähle es oben, um es zu benutzen</translation>
    </message>
    <message>
        <source>Plug-ins…</source>
        <translation>Plug-ins …</translation>
    </message>
</context>
<context>
    <name>sonmere::JobStrip</name>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>sonmere::KeysSheet</name>
    <message>
        <source>Keys</source>
        <translation>Tasten</translation>
    </message>
    <message>
        <source>In any program</source>
        <translation>In jedem Programm</translation>
    </message>
    <message>
        <source>Key</source>
        <translation>Taste</translation>
    </message>
    <message>
        <source>Command</source>
        <translation>Befehl</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
</context>
<context>
    <name>sonmere::LevelHistory</name>
    <message>
        <source>Level so far</source>
        <translation>Pegel bisher</translation>
    </message>
</context>
<context>
    <name>sonmere::LibraryModel</name>
    <message>
        <source>%1 is in the trash.</source>
        <translation>%1 ist im Papierkorb.</translation>
    </message>
    <message numerus="yes">
        <source>%n recording(s) are in the trash.</source>
        <translation>
            <numerusform>%n Aufnahme ist im Papierkorb.</numerusform>
            <numerusform>%n Aufnahmen sind im Papierkorb.</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 is back.</source>
        <translation>%1 ist zurück.</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>Done: %1</source>
        <translation>Fertig: %1</translation>
    </message>
</context>
<context>
    <name>sonmere::LibraryPage</name>
    <message>
        <source>Library</source>
        <translation>Bibliothek</translation>
    </message>
    <message>
        <source>Search recordings</source>
        <translation>Aufnahmen suchen</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Importieren</translation>
    </message>
    <message>
        <source>Show recordings folder</source>
        <translation>Ordner der Aufnahmen zeigen</translation>
    </message>
    <message>
        <source>Recordings</source>
        <translation>Aufnahmen</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Rename</source>
        <translation>Umbenennen</translation>
    </message>
    <message>
        <source>Move to trash</source>
        <translation>In den Papierkorb</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig</translation>
    </message>
    <message>
        <source>No recordings yet. What you record lands here; drop audio files to import them.</source>
        <translation>Noch keine Aufnahmen. Was du aufnimmst, liegt dann hier; zieh Audiodateien hierher, um sie zu importieren.</translation>
    </message>
    <message>
        <source>No recording fits the search.</source>
        <translation>Keine Aufnahme passt zur Suche.</translation>
    </message>
    <message>
        <source>Import audio files</source>
        <translation>Audiodateien importieren</translation>
    </message>
    <message>
        <source>Audio (*.wav *.wave *.aif *.aiff *.aifc *.caf *.m4a *.mp3 *.mp4 *.aac *.flac *.ogg *.opus);;All files (*)</source>
        <translation>Audio (*.wav *.wave *.aif *.aiff *.aifc *.caf *.m4a *.mp3 *.mp4 *.aac *.flac *.ogg *.opus);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>%1 is under way.</source>
        <translation>%1 läuft noch.</translation>
    </message>
</context>
<context>
    <name>sonmere::LibraryStack</name>
    <message>
        <source>Untitled</source>
        <translation>Unbenannt</translation>
    </message>
    <message>
        <source>Sonmere opens audio files; this is none.</source>
        <translation>Sonmere öffnet Audiodateien; das ist keine.</translation>
    </message>
    <message>
        <source>Name this recording</source>
        <translation>Diese Aufnahme benennen</translation>
    </message>
    <message>
        <source>It is saved already, as %1.</source>
        <translation>Sie ist schon gesichert, als %1.</translation>
    </message>
</context>
<context>
    <name>sonmere::LibraryTree</name>
    <message>
        <source>Without a date</source>
        <translation>Ohne Datum</translation>
    </message>
    <message>
        <source>Today</source>
        <translation>Heute</translation>
    </message>
    <message>
        <source>Yesterday</source>
        <translation>Gestern</translation>
    </message>
    <message numerus="yes">
        <source>%1, %n file(s)</source>
        <translation>
            <numerusform>%1, %n Datei</numerusform>
            <numerusform>%1, %n Dateien</numerusform>
        </translation>
    </message>
    <message>
        <source>Waveform</source>
        <translation>Wellenform</translation>
    </message>
    <message numerus="yes">
        <source>Waveform, %n mark(s)</source>
        <translation>
            <numerusform>Wellenform, %n Marke</numerusform>
            <numerusform>Wellenform, %n Marken</numerusform>
        </translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>Length</source>
        <translation>Länge</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
</context>
<context>
    <name>sonmere::MainWindow</name>
    <message>
        <source>Sonmere</source>
        <translation>Sonmere</translation>
    </message>
    <message>
        <source>Apps</source>
        <translation>Apps</translation>
    </message>
    <message>
        <source>Input</source>
        <translation>Eingabe</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>Library</source>
        <translation>Bibliothek</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Guide</source>
        <translation>Anleitung</translation>
    </message>
    <message>
        <source>Start Sonmere</source>
        <translation>Sonmere starten</translation>
    </message>
    <message>
        <source>Close the window</source>
        <translation>Fenster schließen</translation>
    </message>
    <message>
        <source>Quit Sonmere</source>
        <translation>Sonmere beenden</translation>
    </message>
    <message>
        <source>Name of %1</source>
        <translation>Name von %1</translation>
    </message>
    <message>
        <source>Commands know the Track by this name too. An empty name is its own again.</source>
        <translation>Auch Befehle kennen die Spur unter diesem Namen. Ein leerer Name ist wieder ihr eigener.</translation>
    </message>
    <message>
        <source>As it is</source>
        <translation>Wie es ist</translation>
    </message>
    <message>
        <source>Default output</source>
        <translation>Standardausgabe</translation>
    </message>
    <message>
        <source>Direct, untouched</source>
        <translation>Direkt, unberührt</translation>
    </message>
    <message>
        <source>the microphone</source>
        <translation>dem Mikrofon</translation>
    </message>
    <message>
        <source>Only on this device</source>
        <translation>Nur auf diesem Gerät</translation>
    </message>
    <message>
        <source>System</source>
        <translation>System</translation>
    </message>
    <message>
        <source>Profiles</source>
        <translation>Profile</translation>
    </message>
    <message>
        <source>Keys</source>
        <translation>Tasten</translation>
    </message>
</context>
<context>
    <name>sonmere::MasterStrip</name>
    <message>
        <source>Per-app volume</source>
        <translation>Lautstärke je App</translation>
    </message>
    <message>
        <source>Equaliser</source>
        <translation>Entzerrer</translation>
    </message>
    <message>
        <source>Master volume</source>
        <translation>Gesamtlautstärke</translation>
    </message>
    <message>
        <source>Apps play as they are</source>
        <translation>Apps spielen, wie sie sind</translation>
    </message>
    <message>
        <source>Waiting for an output</source>
        <translation>Wartet auf eine Ausgabe</translation>
    </message>
    <message>
        <source>on %1</source>
        <translation>auf %1</translation>
    </message>
</context>
<context>
    <name>sonmere::Meter</name>
    <message>
        <source>Level</source>
        <translation>Pegel</translation>
    </message>
</context>
<context>
    <name>sonmere::MixAppRow</name>
    <message>
        <source>Both are one</source>
        <translation>Beide sind eins</translation>
    </message>
    <message>
        <source>How loud you hear %1</source>
        <translation>Wie laut du %1 hörst</translation>
    </message>
    <message>
        <source>How loud %1 is recorded</source>
        <translation>Wie laut %1 aufgenommen wird</translation>
    </message>
    <message>
        <source>You hear %1 as loud as it is recorded</source>
        <translation>Du hörst %1 so laut, wie es aufgenommen wird</translation>
    </message>
</context>
<context>
    <name>sonmere::MixCard</name>
    <message>
        <source>Mix Mode</source>
        <translation>Mix-Modus</translation>
    </message>
    <message>
        <source>Audition recording</source>
        <translation>Aufnahme anhören</translation>
    </message>
    <message>
        <source>Nothing is routed. Route an app to a Track or the Bridge on the page Apps.</source>
        <translation>Nichts ist geleitet. Leite auf der Seite Apps eine App auf eine Spur oder die Brücke.</translation>
    </message>
    <message>
        <source>Include system audio</source>
        <translation>Systemton einbeziehen</translation>
    </message>
    <message>
        <source>Hear Tracks that other programs feed</source>
        <translation>Spuren hören, die andere Programme bespielen</translation>
    </message>
    <message>
        <source>Hear what is recorded or streamed, each app as loud as you like</source>
        <translation>Hören, was aufgenommen oder gestreamt wird, jede App so laut, wie du willst</translation>
    </message>
    <message>
        <source>Tap to audition the recording mix. Every unlinked app temporarily uses its stream level so you can verify how your output will sound.</source>
        <translation>Drücke, um die Mischung der Aufnahme anzuhören. Jede nicht verbundene App spielt vorübergehend mit ihrem Streampegel, damit du hörst, wie sie klingen wird.</translation>
    </message>
    <message>
        <source>How loud you hear what is not routed</source>
        <translation>Wie laut du hörst, was nicht geleitet ist</translation>
    </message>
    <message>
        <source>Silence this DAW track in your monitor mix (recording unaffected)</source>
        <translation>Diese Spur in dem, was du hörst, stummschalten (die Aufnahme bleibt, wie sie ist)</translation>
    </message>
    <message>
        <source>Forbidden by the setting sonmere.mixMode.disabled. To allow it: sonmere settings reset sonmere.mixMode.disabled</source>
        <translation>Verboten durch die Einstellung sonmere.mixMode.disabled. Um ihn zu erlauben: sonmere settings reset sonmere.mixMode.disabled</translation>
    </message>
    <message>
        <source>Off: you hear apps as they are routed</source>
        <translation>Aus: Du hörst Apps, wie sie geleitet sind</translation>
    </message>
    <message>
        <source>On: you hear every app as loud as it is recorded</source>
        <translation>An: Du hörst jede App so laut, wie sie aufgenommen wird</translation>
    </message>
    <message>
        <source>On: left is how loud you hear an app, right how loud it is recorded</source>
        <translation>An: links, wie laut du eine App hörst, rechts, wie laut sie aufgenommen wird</translation>
    </message>
    <message>
        <source>System Audio Passthrough must be off for this toggle to work.</source>
        <translation>Der Systemton muss dafür ausgeschaltet sein.</translation>
    </message>
    <message>
        <source>What is not routed could not be captured; it is tried again with the next change.</source>
        <translation>Was nicht geleitet ist, konnte nicht abgegriffen werden; bei der nächsten Änderung wird es wieder versucht.</translation>
    </message>
    <message>
        <source>Track %1</source>
        <translation>Spur %1</translation>
    </message>
    <message>
        <source>How loud you hear %1</source>
        <translation>Wie laut du %1 hörst</translation>
    </message>
    <message>
        <source>Silence %1 in what you hear</source>
        <translation>%1 in dem, was du hörst, stummschalten</translation>
    </message>
    <message>
        <source>Disable System Audio Passthrough first — these two features both try to capture everything your computer plays.</source>
        <translation>Schalte zuerst den Systemton aus: Beide greifen alles ab, was dein Rechner spielt.</translation>
    </message>
    <message>
        <source>What is not routed is heard with the rest</source>
        <translation>Was nicht geleitet ist, ist mit dem Übrigen zu hören</translation>
    </message>
    <message numerus="yes">
        <source>Brought back to life %n time(s)</source>
        <translation>
            <numerusform>%n Mal wiederbelebt</numerusform>
            <numerusform>%n Mal wiederbelebt</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::MonitorStrip</name>
    <message>
        <source>Monitor</source>
        <translation>Monitor</translation>
    </message>
    <message>
        <source>Hear what is routed, where its headphones are on</source>
        <translation>Mithören, was geleitet wird, wo der Kopfhörer an ist</translation>
    </message>
    <message>
        <source>Device that the monitor plays on</source>
        <translation>Gerät, auf dem der Monitor spielt</translation>
    </message>
    <message>
        <source>Hear my mic</source>
        <translation>Mich mithören</translation>
    </message>
    <message>
        <source>Default output</source>
        <translation>Standardausgabe</translation>
    </message>
    <message>
        <source>%1 (not connected)</source>
        <translation>%1 (nicht verbunden)</translation>
    </message>
</context>
<context>
    <name>sonmere::NameSheet</name>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Rename</source>
        <translation>Umbenennen</translation>
    </message>
</context>
<context>
    <name>sonmere::PlayerBar</name>
    <message>
        <source>Place in the recording</source>
        <translation>Stelle in der Aufnahme</translation>
    </message>
    <message>
        <source>Pause (Space)</source>
        <translation>Pause (Leertaste)</translation>
    </message>
    <message>
        <source>Play (Space)</source>
        <translation>Abspielen (Leertaste)</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>Play</source>
        <translation>Abspielen</translation>
    </message>
    <message>
        <source>%1 / %2</source>
        <translation>%1 / %2</translation>
    </message>
</context>
<context>
    <name>sonmere::PluginControlField</name>
    <message>
        <source>%1 to %2</source>
        <translation>%1 bis %2</translation>
    </message>
</context>
<context>
    <name>sonmere::PluginRow</name>
    <message>
        <source>On</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Controls</source>
        <translation>Regler</translation>
    </message>
    <message>
        <source>bypassed, for it fails again and again</source>
        <translation>umgangen, weil es immer wieder fehlschlägt</translation>
    </message>
    <message>
        <source>bypassed</source>
        <translation>umgangen</translation>
    </message>
    <message>
        <source>%1 ms</source>
        <translation>%1 ms</translation>
    </message>
    <message>
        <source>%1 on</source>
        <translation>%1 an</translation>
    </message>
    <message>
        <source>Controls of %1</source>
        <translation>Regler von %1</translation>
    </message>
    <message>
        <source>Move %1 up</source>
        <translation>%1 nach oben</translation>
    </message>
    <message>
        <source>Move %1 down</source>
        <translation>%1 nach unten</translation>
    </message>
    <message>
        <source>Remove %1</source>
        <translation>%1 entfernen</translation>
    </message>
    <message>
        <source>Choose a preset</source>
        <translation>Voreinstellung wählen</translation>
    </message>
    <message>
        <source>Preset of %1</source>
        <translation>Voreinstellung von %1</translation>
    </message>
    <message>
        <source>Preset</source>
        <translation>Voreinstellung</translation>
    </message>
    <message>
        <source>It has no controls.</source>
        <translation>Es hat keine Regler.</translation>
    </message>
</context>
<context>
    <name>sonmere::PluginSheet</name>
    <message>
        <source>Plug-ins on %1</source>
        <translation>Plug-ins auf %1</translation>
    </message>
    <message>
        <source>No plug-ins yet.</source>
        <translation>Noch keine Plug-ins.</translation>
    </message>
    <message>
        <source>Inside the program</source>
        <translation>Im Programm selbst</translation>
    </message>
    <message>
        <source>Add</source>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>No added delay, and no protection from a plug-in that crashes</source>
        <translation>Keine zusätzliche Verzögerung, und kein Schutz vor einem Plug-in, das abstürzt</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Search plug-ins</source>
        <translation>Plug-ins suchen</translation>
    </message>
    <message>
        <source>Plug-ins of this system</source>
        <translation>Plug-ins dieses Systems</translation>
    </message>
    <message>
        <source>%1 — %2</source>
        <translation>%1 — %2</translation>
    </message>
    <message>
        <source>Running, %1 ms</source>
        <translation>Läuft, %1 ms</translation>
    </message>
    <message>
        <source>Starting</source>
        <translation>Startet</translation>
    </message>
    <message>
        <source>Bypassed as a whole, for it failed too often</source>
        <translation>Als Ganzes umgangen, weil zu oft etwas fehlschlug</translation>
    </message>
    <message>
        <source>Waiting for sound</source>
        <translation>Wartet auf Ton</translation>
    </message>
    <message>
        <source>The plug-ins of this system are being read …</source>
        <translation>Die Plug-ins dieses Systems werden gelesen …</translation>
    </message>
</context>
<context>
    <name>sonmere::Popover</name>
    <message>
        <source>Nothing plays.</source>
        <translation>Nichts spielt.</translation>
    </message>
    <message>
        <source>Sonmere</source>
        <translation>Sonmere</translation>
    </message>
    <message>
        <source>All</source>
        <translation>Alle</translation>
    </message>
    <message>
        <source>Master volume</source>
        <translation>Gesamtlautstärke</translation>
    </message>
    <message>
        <source>Open Sonmere</source>
        <translation>Sonmere öffnen</translation>
    </message>
    <message>
        <source>Volume of %1</source>
        <translation>Lautstärke von %1</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation>%1 stumm schalten</translation>
    </message>
    <message>
        <source>Stop recording</source>
        <translation>Aufnahme anhalten</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnehmen</translation>
    </message>
</context>
<context>
    <name>sonmere::PresetsCard</name>
    <message>
        <source>%1: can&apos;t be used</source>
        <translation>%1: unbrauchbar</translation>
    </message>
    <message numerus="yes">
        <source>%1: routes of %n app(s)</source>
        <translation>
            <numerusform>%1: Wege von %n App</numerusform>
            <numerusform>%1: Wege von %n Apps</numerusform>
        </translation>
    </message>
    <message>
        <source>%1: equaliser</source>
        <translation>%1: Entzerrer</translation>
    </message>
    <message>
        <source>Presets</source>
        <translation>Vorgaben</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Name of the new preset</source>
        <translation>Name der neuen Vorgabe</translation>
    </message>
    <message>
        <source>Equalisers and routings as files that you can give to others.</source>
        <translation>Entzerrer und Wege als Dateien, die du weitergeben kannst.</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Laden</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Delete the chosen preset</source>
        <translation>Die gewählte Vorgabe löschen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Save as a preset</source>
        <translation>Als Vorgabe sichern</translation>
    </message>
    <message>
        <source>Import…</source>
        <translation>Importieren …</translation>
    </message>
    <message>
        <source>Of</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>All that plays</source>
        <translation>Alles, was spielt</translation>
    </message>
    <message>
        <source>The microphone</source>
        <translation>Das Mikrofon</translation>
    </message>
    <message>
        <source>All routes</source>
        <translation>Alle Wege</translation>
    </message>
    <message>
        <source>Choose a preset first.</source>
        <translation>Wähle zuerst eine Vorgabe.</translation>
    </message>
    <message>
        <source>Give it a name first.</source>
        <translation>Gib ihr zuerst einen Namen.</translation>
    </message>
    <message>
        <source>Import a preset</source>
        <translation>Vorgabe importieren</translation>
    </message>
    <message>
        <source>Presets and equalisers (*.json *.txt)</source>
        <translation>Vorgaben und Entzerrer (*.json *.txt)</translation>
    </message>
</context>
<context>
    <name>sonmere::PresetsModel</name>
    <message>
        <source>&quot;%1&quot; is no name for a preset.</source>
        <translation>„%1“ ist kein Name für eine Vorgabe.</translation>
    </message>
    <message>
        <source>%1 could not be moved to the trash.</source>
        <translation>%1 konnte nicht in den Papierkorb gelegt werden.</translation>
    </message>
</context>
<context>
    <name>sonmere::ProfilesCard</name>
    <message>
        <source>Profiles</source>
        <translation>Profile</translation>
    </message>
    <message>
        <source>No saved profiles. Enable apps and save a profile for quick switching.</source>
        <translation>Keine Profile. Leite Apps und sichere ein Profil, um schnell zu wechseln.</translation>
    </message>
    <message>
        <source>Enter a name for this routing profile.</source>
        <translation>Gib einen Namen für dieses Profil ein.</translation>
    </message>
    <message>
        <source>Name of the new profile</source>
        <translation>Name des neuen Profils</translation>
    </message>
    <message>
        <source>Save the routing</source>
        <translation>Wege sichern</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>Anwenden</translation>
    </message>
    <message>
        <source>Apply %1</source>
        <translation>%1 anwenden</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Delete %1</source>
        <translation>%1 löschen</translation>
    </message>
    <message numerus="yes">
        <source>%n app(s)</source>
        <translation>
            <numerusform>%n App</numerusform>
            <numerusform>%n Apps</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>sonmere::QuitFlow</name>
    <message>
        <source>Sonmere is recording</source>
        <translation>Sonmere nimmt auf</translation>
    </message>
    <message numerus="yes">
        <source>%n file(s) are being recorded. They are completed before Sonmere ends, and nothing that was recorded is lost.</source>
        <translation>
            <numerusform>%n Datei wird aufgenommen. Sie wird vervollständigt, bevor Sonmere endet; nichts Aufgenommenes geht verloren.</numerusform>
            <numerusform>%n Dateien werden aufgenommen. Sie werden vervollständigt, bevor Sonmere endet; nichts Aufgenommenes geht verloren.</numerusform>
        </translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Close the window, keep recording</source>
        <translation>Fenster schließen, weiter aufnehmen</translation>
    </message>
    <message>
        <source>Stop and quit</source>
        <translation>Anhalten und beenden</translation>
    </message>
    <message>
        <source>Completing the recordings…</source>
        <translation>Aufnahmen werden vervollständigt…</translation>
    </message>
    <message>
        <source>This takes a moment; where a drive hangs, eight seconds at most.</source>
        <translation>Das dauert einen Moment; wo ein Laufwerk hängt, höchstens acht Sekunden.</translation>
    </message>
    <message>
        <source>Quit Sonmere?</source>
        <translation>Sonmere beenden?</translation>
    </message>
    <message>
        <source>Quit, and lose it</source>
        <translation>Beenden und verwerfen</translation>
    </message>
    <message>
        <source>Close the window?</source>
        <translation>Fenster schließen?</translation>
    </message>
    <message>
        <source>Close, and lose it</source>
        <translation>Schließen und verwerfen</translation>
    </message>
    <message>
        <source>Stay</source>
        <translation>Bleiben</translation>
    </message>
</context>
<context>
    <name>sonmere::RangeFields</name>
    <message>
        <source>Playhead</source>
        <translation>Abspielmarke</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>Bis</translation>
    </message>
    <message>
        <source>Fade in</source>
        <translation>Einblenden</translation>
    </message>
    <message>
        <source>Fade out</source>
        <translation>Ausblenden</translation>
    </message>
    <message>
        <source>Length</source>
        <translation>Länge</translation>
    </message>
    <message>
        <source> s</source>
        <translation> s</translation>
    </message>
</context>
<context>
    <name>sonmere::RecordPage</name>
    <message>
        <source>Saved as %1</source>
        <translation>Gesichert als %1</translation>
    </message>
    <message>
        <source>Choose what to record: tick a bus.</source>
        <translation>Wähle, was aufgenommen wird: Hake einen Bus an.</translation>
    </message>
    <message>
        <source>Room for %1 hours of one bus</source>
        <translation>Platz für %1 Stunden eines Busses</translation>
    </message>
    <message>
        <source>, </source>
        <translation>, </translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnehmen</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>Files of the &amp;bridge:</source>
        <translation>Dateien der &amp;Bridge:</translation>
    </message>
    <message>
        <source>Mixed</source>
        <translation>Gemischt</translation>
    </message>
    <message>
        <source>Dual mono</source>
        <translation>Dual-Mono</translation>
    </message>
    <message>
        <source>Separate tracks</source>
        <translation>Getrennte Spuren</translation>
    </message>
    <message>
        <source>Beside it: %1</source>
        <translation>Daneben: %1</translation>
    </message>
    <message>
        <source>Records mic on Left, apps on Right in one stereo file — split in your DAW for independent processing.</source>
        <translation>Nimmt das Mikrofon links und die Apps rechts in einer Stereodatei auf – in der DAW zu trennen und einzeln zu bearbeiten.</translation>
    </message>
    <message>
        <source>Records Master mix + Mic (mono) + Apps (stereo) as three sample-aligned files — ideal for podcast post-production.</source>
        <translation>Nimmt Gesamtmischung, Mikrofon (mono) und Apps (stereo) als drei auf das Sample genau gleichlaufende Dateien auf – gut für die Nachbearbeitung von Podcasts.</translation>
    </message>
    <message>
        <source>Mixed records into one stereo file. What you get depends on which sources are on.</source>
        <translation>Gemischt nimmt in eine Stereodatei auf. Was darin ist, hängt davon ab, welche Quellen an sind.</translation>
    </message>
    <message>
        <source>Will turn on %1 when you press Record. They&apos;ll switch back off when you stop.</source>
        <translation>Schaltet %1 ein, wenn Sie aufnehmen, und beim Stoppen wieder aus.</translation>
    </message>
    <message>
        <source>the last %1 are kept</source>
        <translation>die letzten %1 werden bewahrt</translation>
    </message>
    <message>
        <source>Pre-roll: %1</source>
        <translation>Vorlauf: %1</translation>
    </message>
</context>
<context>
    <name>sonmere::RouteButton</name>
    <message>
        <source>Default output</source>
        <translation>Standardausgabe</translation>
    </message>
    <message>
        <source>Where the sound goes</source>
        <translation>Wohin der Ton geht</translation>
    </message>
    <message>
        <source>Route: %1</source>
        <translation>Weg: %1</translation>
    </message>
</context>
<context>
    <name>sonmere::RuleForm</name>
    <message>
        <source>What the rule waits for</source>
        <translation>Worauf die Regel wartet</translation>
    </message>
    <message>
        <source>Which</source>
        <translation>Welche</translation>
    </message>
    <message>
        <source>What the rule does</source>
        <translation>Was die Regel tut</translation>
    </message>
    <message>
        <source>With what</source>
        <translation>Womit</translation>
    </message>
    <message>
        <source>Where it is routed</source>
        <translation>Wohin geleitet wird</translation>
    </message>
    <message>
        <source>When an app plays</source>
        <translation>Wenn eine App spielt</translation>
    </message>
    <message>
        <source>When a device is there</source>
        <translation>Wenn ein Gerät da ist</translation>
    </message>
    <message>
        <source>When the microphone is on</source>
        <translation>Wenn das Mikrofon an ist</translation>
    </message>
    <message>
        <source>Apply the profile</source>
        <translation>Profil anwenden</translation>
    </message>
    <message>
        <source>Route the app</source>
        <translation>App leiten</translation>
    </message>
    <message>
        <source>Set the volume of</source>
        <translation>Lautstärke setzen von</translation>
    </message>
    <message>
        <source>Mute the app</source>
        <translation>App stummschalten</translation>
    </message>
    <message>
        <source>Unmute the app</source>
        <translation>App hörbar machen</translation>
    </message>
    <message>
        <source>Volume that the rule sets</source>
        <translation>Lautstärke, die die Regel setzt</translation>
    </message>
    <message>
        <source>Add the rule</source>
        <translation>Regel hinzufügen</translation>
    </message>
    <message>
        <source>Default output</source>
        <translation>Standardausgabe</translation>
    </message>
    <message>
        <source>Say what the rule waits for, and with what it does something.</source>
        <translation>Sag, worauf die Regel wartet und womit sie etwas tut.</translation>
    </message>
</context>
<context>
    <name>sonmere::RulesCard</name>
    <message>
        <source>Rules</source>
        <translation>Regeln</translation>
    </message>
    <message>
        <source>There are no rules. A rule does something by itself, and takes it back afterwards: a profile for calls, less music while you speak.</source>
        <translation>Es gibt keine Regeln. Eine Regel tut etwas von selbst und nimmt es danach zurück: ein Profil für Anrufe, leisere Musik, während du sprichst.</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>On</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Remove: %1</source>
        <translation>Entfernen: %1</translation>
    </message>
</context>
<context>
    <name>sonmere::ServiceLink</name>
    <message>
        <source>Sonmere is not running.</source>
        <translation>Sonmere läuft nicht.</translation>
    </message>
    <message>
        <source>Sonmere does not answer.</source>
        <translation>Sonmere antwortet nicht.</translation>
    </message>
</context>
<context>
    <name>sonmere::SessionProject</name>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>Mix.%1</source>
        <translation>Mischung.%1</translation>
    </message>
</context>
<context>
    <name>sonmere::SettingsPage</name>
    <message>
        <source>Search settings</source>
        <translation>Einstellungen suchen</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Reset: %1</source>
        <translation>Zurücksetzen: %1</translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation>Einen Ordner wählen</translation>
    </message>
    <message>
        <source>Choose…</source>
        <translation>Wählen…</translation>
    </message>
</context>
<context>
    <name>sonmere::SideBar</name>
    <message>
        <source>Menu</source>
        <translation>Menü</translation>
    </message>
</context>
<context>
    <name>sonmere::StatusModel</name>
    <message>
        <source>Sonmere %1 on %2. %3</source>
        <translation>Sonmere %1 auf %2. %3</translation>
    </message>
    <message>
        <source>The Sonmere that runs is version %1, this window is %2. What both know works; to have the rest, quit Sonmere and start it again.</source>
        <translation>Das laufende Sonmere ist Version %1, dieses Fenster %2. Was beide kennen, geht; für den Rest beende Sonmere und starte es neu.</translation>
    </message>
</context>
<context>
    <name>sonmere::StatusPage</name>
    <message>
        <source>Device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>Inputs</source>
        <translation>Eingänge</translation>
    </message>
    <message>
        <source>Outputs</source>
        <translation>Ausgänge</translation>
    </message>
    <message>
        <source>Rate</source>
        <translation>Rate</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Diagnostic report</source>
        <translation>Diagnosebericht</translation>
    </message>
    <message>
        <source>Generate Diagnostic Report…</source>
        <translation>Diagnosebericht erstellen…</translation>
    </message>
    <message>
        <source>%1 (default output)</source>
        <translation>%1 (Standardausgabe)</translation>
    </message>
    <message>
        <source>%1 (default input)</source>
        <translation>%1 (Standardeingabe)</translation>
    </message>
    <message>
        <source>%1 Hz</source>
        <translation>%1 Hz</translation>
    </message>
    <message>
        <source>Reset Routing</source>
        <translation>Wege zurücksetzen</translation>
    </message>
    <message>
        <source>Route</source>
        <translation>Weg</translation>
    </message>
    <message>
        <source>Health</source>
        <translation>Zustand</translation>
    </message>
    <message>
        <source>Detail</source>
        <translation>Einzelheiten</translation>
    </message>
    <message>
        <source>Routes</source>
        <translation>Wege</translation>
    </message>
    <message>
        <source>Makes every route anew</source>
        <translation>Legt jeden Weg neu an</translation>
    </message>
    <message>
        <source>healthy</source>
        <translation>gut</translation>
    </message>
    <message>
        <source>degraded</source>
        <translation>eingeschränkt</translation>
    </message>
    <message>
        <source>broken</source>
        <translation>gestört</translation>
    </message>
    <message>
        <source>off</source>
        <translation>aus</translation>
    </message>
</context>
<context>
    <name>sonmere::SystemAudioCard</name>
    <message>
        <source>System audio</source>
        <translation>Systemton</translation>
    </message>
    <message>
        <source>Make it anew</source>
        <translation>Neu anlegen</translation>
    </message>
    <message>
        <source>Whatever plays goes to your output and into the Bridge</source>
        <translation>Was spielt, geht an deinen Ausgang und in die Brücke</translation>
    </message>
    <message>
        <source>Where you hear nothing, or the Bridge hears nothing</source>
        <translation>Wenn du nichts hörst oder die Brücke nichts hört</translation>
    </message>
    <message>
        <source>Plays on</source>
        <translation>Spielt auf</translation>
    </message>
    <message>
        <source>Switched off after an update, since it did not work; switch it on to try again</source>
        <translation>Nach einer Aktualisierung ausgeschaltet, weil er nicht ging; schalte ihn ein, um es wieder zu versuchen</translation>
    </message>
    <message>
        <source>Off: apps play on your output alone</source>
        <translation>Aus: Apps spielen nur auf deinem Ausgang</translation>
    </message>
    <message>
        <source>On, but it does not reach both %1 and the Bridge</source>
        <translation>An, aber er erreicht nicht beide, %1 und die Brücke</translation>
    </message>
    <message>
        <source>On: what plays is heard on %1, and by whoever reads the Bridge</source>
        <translation>An: Was spielt, ist auf %1 zu hören, und für jeden, der die Brücke liest</translation>
    </message>
    <message>
        <source>Default output</source>
        <translation>Standardausgabe</translation>
    </message>
    <message>
        <source>%1 (not connected)</source>
        <translation>%1 (nicht verbunden)</translation>
    </message>
</context>
<context>
    <name>sonmere::Timeline</name>
    <message>
        <source>Timeline</source>
        <translation>Zeitleiste</translation>
    </message>
    <message numerus="yes">
        <source>Playhead at %1 of %2, %n track(s)</source>
        <translation>
            <numerusform>Abspielmarke bei %1 von %2, %n Spur</numerusform>
            <numerusform>Abspielmarke bei %1 von %2, %n Spuren</numerusform>
        </translation>
    </message>
    <message>
        <source>; mark at %1 %2</source>
        <translation>; Marke bei %1 %2</translation>
    </message>
    <message>
        <source>Reading waveform…</source>
        <translation>Wellenform wird gelesen…</translation>
    </message>
</context>
<context>
    <name>sonmere::TrackHeader</name>
    <message>
        <source>M</source>
        <comment>mute, one letter</comment>
        <translation>M</translation>
    </message>
    <message>
        <source>Mute</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>S</source>
        <comment>solo, one letter</comment>
        <translation>S</translation>
    </message>
    <message>
        <source>Solo</source>
        <translation>Solo</translation>
    </message>
    <message>
        <source> dB</source>
        <translation> dB</translation>
    </message>
    <message>
        <source>Gain of %1</source>
        <translation>Verstärkung von %1</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation>%1 stumm schalten</translation>
    </message>
    <message>
        <source>Solo %1</source>
        <translation>%1 allein</translation>
    </message>
</context>
<context>
    <name>sonmere::Tray</name>
    <message>
        <source>Open Sonmere</source>
        <translation>Sonmere öffnen</translation>
    </message>
    <message>
        <source>Quit Sonmere</source>
        <translation>Sonmere beenden</translation>
    </message>
    <message>
        <source>Stop recording</source>
        <translation>Aufnahme anhalten</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnehmen</translation>
    </message>
    <message>
        <source>Sonmere is not running.</source>
        <translation>Sonmere läuft nicht.</translation>
    </message>
    <message numerus="yes">
        <source>Sonmere records %n file(s).</source>
        <translation>
            <numerusform>Sonmere nimmt %n Datei auf.</numerusform>
            <numerusform>Sonmere nimmt %n Dateien auf.</numerusform>
        </translation>
    </message>
    <message>
        <source>Sonmere</source>
        <translation>Sonmere</translation>
    </message>
</context>
<context>
    <name>sonmere::VolumeField</name>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>silent</source>
        <translation>still</translation>
    </message>
    <message>
        <source>%1 dB</source>
        <translation>%1 dB</translation>
    </message>
    <message>
        <source>Volume as text</source>
        <translation>Lautstärke als Text</translation>
    </message>
</context>
</TS>
