<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en_US">
<context>
    <name></name>
    <message id="Preferences...">
        <source>Preferences...</source>
        <translation>Einstellungen...</translation>
    </message>
    <message id="Hide All">
        <source>Hide All</source>
        <translation>Alle ausblenden</translation>
    </message>
    <message id="Show All">
        <source>Show All</source>
        <translation>Alle einblenden</translation>
    </message>
    <message id="Toggle Visibility">
        <source>Toggle Visibility</source>
        <translation>Sichtbarkeit umschalten</translation>
    </message>
    <message id="Cannot run %@ from this location.">
        <source>Cannot run %@ from this location.</source>
        <translation>%@ kann nicht von diesem Ort aus gestartet werden.</translation>
    </message>
    <message id="Quit %@, move it into your Applications folder, relaunch it from there and try again.">
        <source>Quit %@, move it into your Applications folder, relaunch it from there and try again.</source>
        <translation>Beenden Sie %@, verschieben Sie es in Ihren Programme-Ordner, starten Sie es von dort neu und versuchen Sie es erneut.</translation>
    </message>
    <message id="OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="Cancel">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="Quit">
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message id="Tidewell never hides these applications:">
        <source>Tidewell never hides these applications:</source>
        <translation>Diese Anwendungen blendet Tidewell nie aus:</translation>
    </message>
    <message id="Excluded applications">
        <source>Excluded applications</source>
        <translation>Ausgenommene Anwendungen</translation>
    </message>
    <message id="Add...">
        <source>Add...</source>
        <translation>Hinzufügen...</translation>
    </message>
    <message id="Remove">
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message id="Applications (*.desktop)">
        <source>Applications (*.desktop)</source>
        <translation>Anwendungen (*.desktop)</translation>
    </message>
    <message id="Select">
        <source>Select</source>
        <translation>Auswählen</translation>
    </message>
    <message id="Standard">
        <source>Standard</source>
        <translation>Standard</translation>
    </message>
    <message id="Purple">
        <source>Purple</source>
        <translation>Violett</translation>
    </message>
    <message id="Graphite">
        <source>Graphite</source>
        <translation>Graphit</translation>
    </message>
    <message id="Dark">
        <source>Dark</source>
        <translation>Dunkel</translation>
    </message>
    <message id="General">
        <source>General</source>
        <translation>Allgemein</translation>
    </message>
    <message id="Exclude">
        <source>Exclude</source>
        <translation>Ausnehmen</translation>
    </message>
    <message id="Icon style:">
        <source>Icon style:</source>
        <translation>Symbolstil:</translation>
    </message>
    <message id="Icon style">
        <source>Icon style</source>
        <translation>Symbolstil</translation>
    </message>
    <message id="Show Tidewell in the menu bar">
        <source>Show Tidewell in the menu bar</source>
        <translation>Tidewell in der Menüleiste anzeigen</translation>
    </message>
    <message id="Start Tidewell at login">
        <source>Start Tidewell at login</source>
        <translation>Tidewell bei der Anmeldung starten</translation>
    </message>
    <message id="Bring the file manager to the front">
        <source>Bring the file manager to the front</source>
        <translation>Dateimanager in den Vordergrund holen</translation>
    </message>
    <message id="Open a new file manager window">
        <source>Open a new file manager window</source>
        <translation>Ein neues Dateimanager-Fenster öffnen</translation>
    </message>
    <message id="Minimize the file manager's windows">
        <source>Minimize the file manager's windows</source>
        <translation>Fenster des Dateimanagers minimieren</translation>
    </message>
    <message id="Close all file manager windows">
        <source>Close all file manager windows</source>
        <translation>Alle Fenster des Dateimanagers schließen</translation>
    </message>
    <message id="When hiding the others:">
        <source>When hiding the others:</source>
        <translation>Beim Ausblenden der anderen:</translation>
    </message>
    <message id="You may now quit Tidewell and continue running in menu bar mode.">
        <source>You may now quit Tidewell and continue running in menu bar mode.</source>
        <translation>Sie können Tidewell jetzt beenden und im Menüleisten-Modus weiterarbeiten.</translation>
    </message>
    <message id="Later">
        <source>Later</source>
        <translation>Später</translation>
    </message>
    <message id="To change this setting later, open Tidewell and adjust the Preferences.">
        <source>To change this setting later, open Tidewell and adjust the Preferences.</source>
        <translation>Um diese Einstellung später zu ändern, öffnen Sie Tidewell und passen Sie die Einstellungen an.</translation>
    </message>
    <message id="There is an update to %@ available online.">
        <source>There is an update to %@ available online.</source>
        <translation>Für %@ ist online eine Aktualisierung verfügbar.</translation>
    </message>
    <message id="Download">
        <source>Download</source>
        <translation>Herunterladen</translation>
    </message>
    <message id="An error occurred while checking for an update.">
        <source>An error occurred while checking for an update.</source>
        <translation>Bei der Suche nach einer Aktualisierung ist ein Fehler aufgetreten.</translation>
    </message>
    <message id="Please check your internet connection and try again.">
        <source>Please check your internet connection and try again.</source>
        <translation>Bitte prüfen Sie Ihre Internetverbindung und versuchen Sie es erneut.</translation>
    </message>
    <message id="You have the current version of %@.">
        <source>You have the current version of %@.</source>
        <translation>Sie haben die aktuelle Version von %@.</translation>
    </message>
    <message id="No updates are available.">
        <source>No updates are available.</source>
        <translation>Es sind keine Aktualisierungen verfügbar.</translation>
    </message>
    <message id="The operation couldn’t be completed. (%@ error %ld.)">
        <source>The operation couldn’t be completed. (%@ error %ld.)</source>
        <translation>Der Vorgang konnte nicht abgeschlossen werden. (%@ Fehler %ld.)</translation>
    </message>
    <message id="Check for Updates...">
        <source>Check for Updates...</source>
        <translation>Nach Updates suchen...</translation>
    </message>
    <message id="Product Page">
        <source>Product Page</source>
        <translation>Produktseite</translation>
    </message>
    <message id="Send Feedback...">
        <source>Send Feedback...</source>
        <translation>Feedback senden...</translation>
    </message>
    <message id="The change could not be saved: the settings file cannot be written.">
        <source>The change could not be saved: the settings file cannot be written.</source>
        <translation>Die Änderung konnte nicht gesichert werden: die Einstellungsdatei ist nicht beschreibbar.</translation>
    </message>
    <message id="Start at login could not be changed: the autostart folder cannot be written.">
        <source>Start at login could not be changed: the autostart folder cannot be written.</source>
        <translation>Der Start bei der Anmeldung konnte nicht geändert werden: der Autostart-Ordner ist nicht beschreibbar.</translation>
    </message>
    <message id="Status">
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message id="%1 is not an application installed on this computer.">
        <source>%1 is not an application installed on this computer.</source>
        <translation>%1 ist keine auf diesem Computer installierte Anwendung.</translation>
    </message>
    <message id="%1 is not an application.">
        <source>%1 is not an application.</source>
        <translation>%1 ist keine Anwendung.</translation>
    </message>
    <message id="Print this help and exit.">
        <source>Print this help and exit.</source>
        <translation>Diese Hilfe ausgeben und beenden.</translation>
    </message>
    <message id="Print the version and exit.">
        <source>Print the version and exit.</source>
        <translation>Die Version ausgeben und beenden.</translation>
    </message>
    <message id="Hide every application but the file manager and the excluded ones (the tray menu's Hide All).">
        <source>Hide every application but the file manager and the excluded ones (the tray menu's Hide All).</source>
        <translation>Alle Programme außer der Dateiverwaltung und den ausgenommenen ausblenden (Alle ausblenden im Menü des Symbols).</translation>
    </message>
    <message id="Show every application again and bring back the one that was in front (Show All).">
        <source>Show every application again and bring back the one that was in front (Show All).</source>
        <translation>Alle Programme wieder einblenden und das zuvor vorderste nach vorn holen (Alle einblenden).</translation>
    </message>
    <message id="Print what the running Tidewell has handled so far and the application Show All brings back to the front.">
        <source>Print what the running Tidewell has handled so far and the application Show All brings back to the front.</source>
        <translation>Ausgeben, was das laufende Tidewell bisher erledigt hat und welches Programm Alle einblenden nach vorn holt.</translation>
    </message>
    <message id="Clears the screen down to the desktop. Started while Tidewell runs, it hands its request to the running Tidewell and exits; with no argument the request is a click on Tidewell's icon (hide the others; with Shift held, show all).">
        <source>Clears the screen down to the desktop. Started while Tidewell runs, it hands its request to the running Tidewell and exits; with no argument the request is a click on Tidewell's icon (hide the others; with Shift held, show all).</source>
        <translation>Räumt den Bildschirm bis auf den Schreibtisch frei. Läuft Tidewell bereits, übergibt es seine Anfrage dem laufenden Tidewell und endet; ohne Argument ist die Anfrage ein Klick auf das Symbol von Tidewell (die anderen ausblenden; mit gedrückter Umschalttaste alle einblenden).</translation>
    </message>
    <message id="An x-tidewell-action: request for the running Tidewell; x-tidewell-action://preferences opens its preferences.">
        <source>An x-tidewell-action: request for the running Tidewell; x-tidewell-action://preferences opens its preferences.</source>
        <translation>Eine x-tidewell-action:-Anfrage an das laufende Tidewell; x-tidewell-action://preferences öffnet seine Einstellungen.</translation>
    </message>
    <message id="cannot follow the hidden windows: %@">
        <source>cannot follow the hidden windows: %@</source>
        <translation>die verborgenen Fenster können nicht verfolgt werden: %@</translation>
    </message>
    <message id="%@ is already the shortcut of &quot;%@&quot; in %@.">
        <source>%@ is already the shortcut of &quot;%@&quot; in %@.</source>
        <translation>%@ ist bereits das Tastenkürzel von „%@“ in %@.</translation>
    </message>
    <message id="GNOME Shell did not answer: %@.">
        <source>GNOME Shell did not answer: %@.</source>
        <translation>GNOME Shell hat nicht geantwortet: %@.</translation>
    </message>
    <message id="GNOME Shell has no global shortcut with the key %@.">
        <source>GNOME Shell has no global shortcut with the key %@.</source>
        <translation>GNOME Shell kennt kein globales Tastenkürzel mit der Taste %@.</translation>
    </message>
    <message id="GNOME Shell or another program already uses %@ as a shortcut.">
        <source>GNOME Shell or another program already uses %@ as a shortcut.</source>
        <translation>GNOME Shell oder ein anderes Programm verwendet %@ bereits als Tastenkürzel.</translation>
    </message>
    <message id="KDE Plasma did not take %@ as a global shortcut.">
        <source>KDE Plasma did not take %@ as a global shortcut.</source>
        <translation>KDE Plasma hat %@ nicht als globales Tastenkürzel angenommen.</translation>
    </message>
    <message id="KDE Plasma has no global shortcut with the key %@.">
        <source>KDE Plasma has no global shortcut with the key %@.</source>
        <translation>KDE Plasma kennt kein globales Tastenkürzel mit der Taste %@.</translation>
    </message>
    <message id="KDE's global-shortcut service (%@) does not answer: %@.">
        <source>KDE's global-shortcut service (%@) does not answer: %@.</source>
        <translation>Der Dienst für globale Tastenkürzel von KDE (%@) antwortet nicht: %@.</translation>
    </message>
    <message id="KDE's global-shortcut service is out of reach: no session bus (%@).">
        <source>KDE's global-shortcut service is out of reach: no session bus (%@).</source>
        <translation>Der Dienst für globale Tastenkürzel von KDE ist nicht erreichbar: kein Sitzungsbus (%@).</translation>
    </message>
    <message id="KDE's global-shortcut service refused the shortcut: %@.">
        <source>KDE's global-shortcut service refused the shortcut: %@.</source>
        <translation>Der Dienst für globale Tastenkürzel von KDE hat das Tastenkürzel abgelehnt: %@.</translation>
    </message>
    <message id="The connection to the session bus is lost.">
        <source>The connection to the session bus is lost.</source>
        <translation>Die Verbindung zum Sitzungsbus ist verloren.</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is not running; the shortcut works once it is enabled (%@).">
        <source>Tidewell's GNOME Shell extension is not running; the shortcut works once it is enabled (%@).</source>
        <translation>Die GNOME-Shell-Erweiterung von Tidewell läuft nicht; das Tastenkürzel wirkt, sobald sie eingeschaltet ist (%@).</translation>
    </message>
    <message id="Tidewell is running but did not answer">
        <source>Tidewell is running but did not answer</source>
        <translation>Tidewell läuft, hat aber nicht geantwortet</translation>
    </message>
    <message id="Tidewell is not running">
        <source>Tidewell is not running</source>
        <translation>Tidewell läuft nicht</translation>
    </message>
    <message id="Exit status: 0 done, 1 failure (no desktop, no answer from the running Tidewell), 2 bad usage, 3 --status with no Tidewell running.">
        <source>Exit status: 0 done, 1 failure (no desktop, no answer from the running Tidewell), 2 bad usage, 3 --status with no Tidewell running.</source>
        <translation>Rückgabewert: 0 erledigt, 1 Fehler (kein Schreibtisch, keine Antwort vom laufenden Tidewell), 2 falscher Aufruf, 3 --status, ohne dass Tidewell läuft.</translation>
    </message>
    <message id="one request at a time: --hide-all, --show-all, --status or a URL">
        <source>one request at a time: --hide-all, --show-all, --status or a URL</source>
        <translation>eine Anfrage auf einmal: --hide-all, --show-all, --status oder eine URL</translation>
    </message>
    <message id="the URL is too long">
        <source>the URL is too long</source>
        <translation>die URL ist zu lang</translation>
    </message>
    <message id="Try 'tidewell --help' for more information.">
        <source>Try 'tidewell --help' for more information.</source>
        <translation>„tidewell --help“ gibt weitere Auskunft.</translation>
    </message>
    <message id="no desktop to work on: %@">
        <source>no desktop to work on: %@</source>
        <translation>kein Schreibtisch, auf dem gearbeitet werden kann: %@</translation>
    </message>
    <message id="hide every application but the file manager and the excluded ones">
        <source>hide every application but the file manager and the excluded ones</source>
        <translation>alle Programme außer der Dateiverwaltung und den ausgenommenen ausblenden</translation>
    </message>
    <message id="show every hidden application and bring back the one in front">
        <source>show every hidden application and bring back the one in front</source>
        <translation>alle ausgeblendeten Programme einblenden und das vorderste zurückholen</translation>
    </message>
    <message id="print the running applications">
        <source>print the running applications</source>
        <translation>die laufenden Programme ausgeben</translation>
    </message>
    <message id="print front switches; read the commands above from standard input">
        <source>print front switches; read the commands above from standard input</source>
        <translation>Wechsel des vordersten Programms ausgeben; die obigen Befehle von der Standardeingabe lesen</translation>
    </message>
    <message id="print this help and exit">
        <source>print this help and exit</source>
        <translation>diese Hilfe ausgeben und beenden</translation>
    </message>
    <message id="print the version and exit">
        <source>print the version and exit</source>
        <translation>die Version ausgeben und beenden</translation>
    </message>
    <message id="work on the X display D (default: the session's desktop: on $WAYLAND_DISPLAY GNOME Shell when Tidewell's extension answers, KWin when it offers its window management; else $DISPLAY)">
        <source>work on the X display D (default: the session's desktop: on $WAYLAND_DISPLAY GNOME Shell when Tidewell's extension answers, KWin when it offers its window management; else $DISPLAY)</source>
        <translation>auf dem X-Display D arbeiten (Vorgabe: der Schreibtisch der Sitzung: auf $WAYLAND_DISPLAY GNOME Shell, wenn die Erweiterung von Tidewell antwortet, KWin, wenn es seine Fensterverwaltung anbietet; sonst $DISPLAY)</translation>
    </message>
    <message id="leave the application ID alone in this run, as if it were excluded">
        <source>leave the application ID alone in this run, as if it were excluded</source>
        <translation>das Programm ID in diesem Lauf in Ruhe lassen, als wäre es ausgenommen</translation>
    </message>
    <message id="usage: %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMAND">
        <source>usage: %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMAND</source>
        <translation>Aufruf: %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... BEFEHL</translation>
    </message>
    <message id="commands:">
        <source>commands:</source>
        <translation>Befehle:</translation>
    </message>
    <message id="options:">
        <source>options:</source>
        <translation>Optionen:</translation>
    </message>
    <message id="Settings are read from the user's files, as the application reads them (%@). With --set or --exclude the files are only read: the changes apply to this run alone.">
        <source>Settings are read from the user's files, as the application reads them (%@). With --set or --exclude the files are only read: the changes apply to this run alone.</source>
        <translation>Die Einstellungen werden aus den Dateien des Benutzers gelesen, wie das Programm sie liest (%@). Mit --set oder --exclude werden die Dateien nur gelesen: die Änderungen gelten nur für diesen Lauf.</translation>
    </message>
    <message id="lost the desktop's server">
        <source>lost the desktop's server</source>
        <translation>die Verbindung zum Server des Schreibtischs ist verloren</translation>
    </message>
    <message id="unknown command">
        <source>unknown command</source>
        <translation>unbekannter Befehl</translation>
    </message>
    <message id="this name is deprecated and will go in the next release; use %@">
        <source>this name is deprecated and will go in the next release; use %@</source>
        <translation>dieser Name ist veraltet und entfällt mit der nächsten Version; verwenden Sie %@</translation>
    </message>
    <message id="%@ needs a value">
        <source>%@ needs a value</source>
        <translation>%@ braucht einen Wert</translation>
    </message>
    <message id="--set wants KEY=VALUE, not '%@'">
        <source>--set wants KEY=VALUE, not '%@'</source>
        <translation>--set erwartet KEY=VALUE, nicht „%@“</translation>
    </message>
    <message id="--exclude wants an application ID">
        <source>--exclude wants an application ID</source>
        <translation>--exclude erwartet eine Programm-ID</translation>
    </message>
    <message id="unknown option %@">
        <source>unknown option %@</source>
        <translation>unbekannte Option %@</translation>
    </message>
    <message id="no command">
        <source>no command</source>
        <translation>kein Befehl</translation>
    </message>
    <message id="unknown command or wrong arguments: %@">
        <source>unknown command or wrong arguments: %@</source>
        <translation>unbekannter Befehl oder falsche Argumente: %@</translation>
    </message>
    <message id="the window manager does not minimize windows; nothing was hidden">
        <source>the window manager does not minimize windows; nothing was hidden</source>
        <translation>die Fensterverwaltung minimiert keine Fenster; nichts wurde ausgeblendet</translation>
    </message>
    <message id="Tidewell Menu: Hide All, Show All, the running applications to toggle, Preferences... and Quit from a tray icon of its own. Tidewell starts it when menu-bar mode is on; one runs per session.">
        <source>Tidewell Menu: Hide All, Show All, the running applications to toggle, Preferences... and Quit from a tray icon of its own. Tidewell starts it when menu-bar mode is on; one runs per session.</source>
        <translation>Tidewell Menu: Alle ausblenden, Alle einblenden, die laufenden Programme zum Umschalten, Einstellungen... und Beenden über ein eigenes Symbol in der Kontrollleiste. Tidewell startet es, wenn der Menüleistenmodus eingeschaltet ist; in einer Sitzung läuft eines.</translation>
    </message>
    <message id="no arguments are taken">
        <source>no arguments are taken</source>
        <translation>es werden keine Argumente angenommen</translation>
    </message>
    <message id="Try 'tidewell-helper --help' for more information.">
        <source>Try 'tidewell-helper --help' for more information.</source>
        <translation>„tidewell-helper --help“ gibt weitere Auskunft.</translation>
    </message>
    <message id="Exit status: 0 done (or another Tidewell Menu already runs), 1 no desktop, 2 bad usage.">
        <source>Exit status: 0 done (or another Tidewell Menu already runs), 1 no desktop, 2 bad usage.</source>
        <translation>Rückgabewert: 0 erledigt (oder ein anderes Tidewell Menu läuft bereits), 1 kein Schreibtisch, 2 falscher Aufruf.</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is not installed.">
        <source>Tidewell's GNOME Shell extension is not installed.</source>
        <translation>Die GNOME-Shell-Erweiterung von Tidewell ist nicht installiert.</translation>
    </message>
    <message id="GNOME Shell lets Tidewell hide and show windows only through it. The Debian package tidewell installs it for all users; from a build, “cmake --install” installs it, or copy the build's folder %@ into %@. GNOME Shell loads a newly installed extension at the next login: log out, log in again and start Tidewell.">
        <source>GNOME Shell lets Tidewell hide and show windows only through it. The Debian package tidewell installs it for all users; from a build, “cmake --install” installs it, or copy the build's folder %@ into %@. GNOME Shell loads a newly installed extension at the next login: log out, log in again and start Tidewell.</source>
        <translation>GNOME Shell lässt Tidewell Fenster nur über sie aus- und einblenden. Das Debian-Paket tidewell installiert sie für alle Benutzer; aus einem Build installiert sie „cmake --install“, oder kopieren Sie den Ordner %@ des Builds nach %@. GNOME Shell lädt eine neu installierte Erweiterung bei der nächsten Anmeldung: Melden Sie sich ab, wieder an und starten Sie Tidewell.</translation>
    </message>
    <message id="GNOME Shell has not loaded Tidewell's extension yet.">
        <source>GNOME Shell has not loaded Tidewell's extension yet.</source>
        <translation>GNOME Shell hat die Erweiterung von Tidewell noch nicht geladen.</translation>
    </message>
    <message id="It is installed (in %@), but GNOME Shell loads a newly installed extension only at the next login: log out, log in again and start Tidewell.">
        <source>It is installed (in %@), but GNOME Shell loads a newly installed extension only at the next login: log out, log in again and start Tidewell.</source>
        <translation>Sie ist installiert (in %@), aber GNOME Shell lädt eine neu installierte Erweiterung erst bei der nächsten Anmeldung: Melden Sie sich ab, wieder an und starten Sie Tidewell.</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is turned off.">
        <source>Tidewell's GNOME Shell extension is turned off.</source>
        <translation>Die GNOME-Shell-Erweiterung von Tidewell ist ausgeschaltet.</translation>
    </message>
    <message id="GNOME Shell lets Tidewell hide and show windows only through it. Enable it to go on; the Extensions application turns it off again.">
        <source>GNOME Shell lets Tidewell hide and show windows only through it. Enable it to go on; the Extensions application turns it off again.</source>
        <translation>GNOME Shell lässt Tidewell Fenster nur über sie aus- und einblenden. Aktivieren Sie sie, um fortzufahren; die Anwendung „Erweiterungen“ schaltet sie wieder aus.</translation>
    </message>
    <message id="GNOME Shell has all extensions you installed turned off.">
        <source>GNOME Shell has all extensions you installed turned off.</source>
        <translation>GNOME Shell hat alle von Ihnen installierten Erweiterungen ausgeschaltet.</translation>
    </message>
    <message id="Tidewell hides and shows windows through its GNOME Shell extension, which cannot run while extensions are off as a whole (the main switch of the Extensions application). Turning them on turns on every other extension you enabled as well.">
        <source>Tidewell hides and shows windows through its GNOME Shell extension, which cannot run while extensions are off as a whole (the main switch of the Extensions application). Turning them on turns on every other extension you enabled as well.</source>
        <translation>Tidewell blendet Fenster über seine GNOME-Shell-Erweiterung aus und ein, die nicht laufen kann, solange Erweiterungen insgesamt ausgeschaltet sind (der Hauptschalter der Anwendung „Erweiterungen“). Sie einzuschalten, schaltet auch jede andere von Ihnen aktivierte Erweiterung ein.</translation>
    </message>
    <message id="Turn On Extensions">
        <source>Turn On Extensions</source>
        <translation>Erweiterungen einschalten</translation>
    </message>
    <message id="GNOME Shell could not start Tidewell's extension.">
        <source>GNOME Shell could not start Tidewell's extension.</source>
        <translation>GNOME Shell konnte die Erweiterung von Tidewell nicht starten.</translation>
    </message>
    <message id="GNOME Shell says: %@">
        <source>GNOME Shell says: %@</source>
        <translation>GNOME Shell meldet: %@</translation>
    </message>
    <message id="Enable the Extension">
        <source>Enable the Extension</source>
        <translation>Erweiterung aktivieren</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is back">
        <source>Tidewell's GNOME Shell extension is back</source>
        <translation>Die GNOME-Shell-Erweiterung von Tidewell ist wieder da</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension was turned off">
        <source>Tidewell's GNOME Shell extension was turned off</source>
        <translation>Die GNOME-Shell-Erweiterung von Tidewell wurde ausgeschaltet</translation>
    </message>
    <message id="Hide All and Show All work again.">
        <source>Hide All and Show All work again.</source>
        <translation>„Alle ausblenden“ und „Alle einblenden“ funktionieren wieder.</translation>
    </message>
    <message id="Tidewell cannot hide or show windows until it is turned on again. Nothing Tidewell hid is forgotten.">
        <source>Tidewell cannot hide or show windows until it is turned on again. Nothing Tidewell hid is forgotten.</source>
        <translation>Tidewell kann keine Fenster aus- oder einblenden, bis sie wieder eingeschaltet ist. Nichts, was Tidewell ausgeblendet hat, geht verloren.</translation>
    </message>
    <message id="Hide Others">
        <source>Hide Others</source>
        <translation>Andere ausblenden</translation>
    </message>
    <message id="%@ is already the shortcut of %@.">
        <source>%@ is already the shortcut of %@.</source>
        <translation>%@ ist schon das Tastenkürzel für „%@“.</translation>
    </message>
    <message id="&quot;%@&quot; is not a key combination.">
        <source>&quot;%@&quot; is not a key combination.</source>
        <translation>„%@“ ist keine Tastenkombination.</translation>
    </message>
    <message id="No key of this keyboard types %@.">
        <source>No key of this keyboard types %@.</source>
        <translation>Keine Taste dieser Tastatur erzeugt %@.</translation>
    </message>
    <message id="Another program already uses %@ as a shortcut.">
        <source>Another program already uses %@ as a shortcut.</source>
        <translation>Ein anderes Programm verwendet %@ schon als Tastenkürzel.</translation>
    </message>
    <message id="The X server refused the shortcut %@.">
        <source>The X server refused the shortcut %@.</source>
        <translation>Der X-Server hat das Tastenkürzel %@ abgelehnt.</translation>
    </message>
    <message id="The connection to the X server is lost.">
        <source>The connection to the X server is lost.</source>
        <translation>Die Verbindung zum X-Server ist verloren.</translation>
    </message>
    <message id="Hide Others:">
        <source>Hide Others:</source>
        <translation>Andere ausblenden:</translation>
    </message>
    <message id="Hide Others shortcut">
        <source>Hide Others shortcut</source>
        <translation>Tastenkürzel für Andere ausblenden</translation>
    </message>
    <message id="Show All:">
        <source>Show All:</source>
        <translation>Alle einblenden:</translation>
    </message>
    <message id="Show All shortcut">
        <source>Show All shortcut</source>
        <translation>Tastenkürzel für Alle einblenden</translation>
    </message>
    <message id="Press a combination...">
        <source>Press a combination...</source>
        <translation>Tastenkombination drücken...</translation>
    </message>
    <message id="None">
        <source>None</source>
        <translation>Keines</translation>
    </message>
    <message id="A shortcut needs Ctrl, Alt or Meta, unless it is a function key (F1 to F35).">
        <source>A shortcut needs Ctrl, Alt or Meta, unless it is a function key (F1 to F35).</source>
        <translation>Ein Tastenkürzel braucht Strg, Alt oder Meta, außer bei einer Funktionstaste (F1 bis F35).</translation>
    </message>
    <message id="hide the application with desktop-entry ID when it is shown (in front or not); show and activate it when it is hidden">
        <source>hide the application with desktop-entry ID when it is shown (in front or not); show and activate it when it is hidden</source>
        <translation>das Programm mit der Desktop-Eintrag-ID ausblenden, wenn es sichtbar ist (vorn oder nicht); es einblenden und aktivieren, wenn es ausgeblendet ist</translation>
    </message>
    <message id="use V for setting K in this run: ShowFinder, ShowWindow, Minimize, CloseAllFinder, Menubar or CheckForUpdates (YES or NO), IconStyle2 (1, 2, 4 or 5), HideOthersShortcut or ShowAllShortcut (a key combination such as Ctrl+Alt+H, or nothing)">
        <source>use V for setting K in this run: ShowFinder, ShowWindow, Minimize, CloseAllFinder, Menubar or CheckForUpdates (YES or NO), IconStyle2 (1, 2, 4 or 5), HideOthersShortcut or ShowAllShortcut (a key combination such as Ctrl+Alt+H, or nothing)</source>
        <translation>für die Einstellung K in diesem Lauf V verwenden: ShowFinder, ShowWindow, Minimize, CloseAllFinder, Menubar oder CheckForUpdates (YES oder NO), IconStyle2 (1, 2, 4 oder 5), HideOthersShortcut oder ShowAllShortcut (eine Tastenkombination wie Ctrl+Alt+H, oder nichts)</translation>
    </message>
    <message id="exit status: 0 done, 1 no desktop to work on, 2 bad usage, 3 the window manager does not minimize windows (nothing was hidden), 4 no running application has the ID given to toggle, 5 some windows stay shown because the window manager does not allow minimizing them (the others were hidden)">
        <source>exit status: 0 done, 1 no desktop to work on, 2 bad usage, 3 the window manager does not minimize windows (nothing was hidden), 4 no running application has the ID given to toggle, 5 some windows stay shown because the window manager does not allow minimizing them (the others were hidden)</source>
        <translation>Rückgabewert: 0 erledigt, 1 kein Schreibtisch, auf dem gearbeitet werden kann, 2 falscher Aufruf, 3 die Fensterverwaltung minimiert keine Fenster (nichts wurde ausgeblendet), 4 kein laufendes Programm hat die bei toggle angegebene ID, 5 manche Fenster bleiben sichtbar, weil die Fensterverwaltung nicht erlaubt, sie zu minimieren (die anderen wurden ausgeblendet)</translation>
    </message>
    <message id="%@ takes YES or NO, not '%@'">
        <source>%@ takes YES or NO, not '%@'</source>
        <translation>%@ nimmt YES oder NO, nicht „%@“</translation>
    </message>
    <message id="%@ takes 1, 2, 4 or 5, not '%@'">
        <source>%@ takes 1, 2, 4 or 5, not '%@'</source>
        <translation>%@ nimmt 1, 2, 4 oder 5, nicht „%@“</translation>
    </message>
    <message id="%@ takes a key combination with Ctrl, Alt or Meta (such as Ctrl+Alt+H) or nothing, not '%@'">
        <source>%@ takes a key combination with Ctrl, Alt or Meta (such as Ctrl+Alt+H) or nothing, not '%@'</source>
        <translation>%@ nimmt eine Tastenkombination mit Ctrl, Alt oder Meta (wie Ctrl+Alt+H) oder nichts, nicht „%@“</translation>
    </message>
    <message id="unknown setting %@">
        <source>unknown setting %@</source>
        <translation>unbekannte Einstellung %@</translation>
    </message>
    <message id="Try '%@ --help' for more information.">
        <source>Try '%@ --help' for more information.</source>
        <translation>„%@ --help“ gibt weitere Auskunft.</translation>
    </message>
    <message id="no running application has the ID %@ (see '%@ list')">
        <source>no running application has the ID %@ (see '%@ list')</source>
        <translation>kein laufendes Programm hat die ID %@ (siehe „%@ list“)</translation>
    </message>
    <message id="warning: --exclude %@ names no installed or running application">
        <source>warning: --exclude %@ names no installed or running application</source>
        <translation>Warnung: --exclude %@ nennt kein installiertes oder laufendes Programm</translation>
    </message>
    <message id="another run keeps the desktop busy; going ahead without waiting for it">
        <source>another run keeps the desktop busy; going ahead without waiting for it</source>
        <translation>ein anderer Lauf hält den Schreibtisch belegt; es geht weiter, ohne auf ihn zu warten</translation>
    </message>
    <message id="cannot open the X11 display %@">
        <source>cannot open the X11 display %@</source>
        <translation>die X11-Anzeige %@ lässt sich nicht öffnen</translation>
    </message>
    <message id="no desktop session (neither WAYLAND_DISPLAY nor DISPLAY is set)">
        <source>no desktop session (neither WAYLAND_DISPLAY nor DISPLAY is set)</source>
        <translation>keine Schreibtischsitzung (weder WAYLAND_DISPLAY noch DISPLAY ist gesetzt)</translation>
    </message>
    <message id="%@ is no request Tidewell knows (it takes x-tidewell-action://preferences)">
        <source>%@ is no request Tidewell knows (it takes x-tidewell-action://preferences)</source>
        <translation>%@ ist keine Anfrage, die Tidewell kennt (es nimmt x-tidewell-action://preferences)</translation>
    </message>
    <message id="Tidewell is ending and takes no requests">
        <source>Tidewell is ending and takes no requests</source>
        <translation>Tidewell wird beendet und nimmt keine Anfragen an</translation>
    </message>
    <message id="the follower of hidden windows (process %@) did not answer; a new one takes its place">
        <source>the follower of hidden windows (process %@) did not answer; a new one takes its place</source>
        <translation>der Beobachter der ausgeblendeten Fenster (Prozess %@) hat nicht geantwortet; ein neuer tritt an seine Stelle</translation>
    </message>
    <message id="the follower of hidden windows did not answer; a window restored by hand may come back at the next show-all">
        <source>the follower of hidden windows did not answer; a window restored by hand may come back at the next show-all</source>
        <translation>der Beobachter der ausgeblendeten Fenster hat nicht geantwortet; ein von Hand wiederhergestelltes Fenster kann beim nächsten show-all wiederkommen</translation>
    </message>
    <message id="no Wayland display (WAYLAND_DISPLAY is not set)">
        <source>no Wayland display (WAYLAND_DISPLAY is not set)</source>
        <translation>keine Wayland-Anzeige (WAYLAND_DISPLAY ist nicht gesetzt)</translation>
    </message>
    <message id="cannot connect to the Wayland display %@">
        <source>cannot connect to the Wayland display %@</source>
        <translation>keine Verbindung zur Wayland-Anzeige %@</translation>
    </message>
    <message id="the Wayland display %@ does not answer">
        <source>the Wayland display %@ does not answer</source>
        <translation>die Wayland-Anzeige %@ antwortet nicht</translation>
    </message>
    <message id="the compositor's window management is too old (version %@, %@ needed)">
        <source>the compositor's window management is too old (version %@, %@ needed)</source>
        <translation>die Fensterverwaltung des Compositors ist zu alt (Version %@, %@ nötig)</translation>
    </message>
    <message id="KWin does not let this program manage windows: it needs a desktop entry whose Exec names this program by its full path and that carries X-KDE-Wayland-Interfaces=org_kde_plasma_window_management">
        <source>KWin does not let this program manage windows: it needs a desktop entry whose Exec names this program by its full path and that carries X-KDE-Wayland-Interfaces=org_kde_plasma_window_management</source>
        <translation>KWin lässt dieses Programm keine Fenster verwalten: Es braucht einen Desktop-Eintrag, dessen Exec dieses Programm mit vollem Pfad nennt und der X-KDE-Wayland-Interfaces=org_kde_plasma_window_management trägt</translation>
    </message>
    <message id="this desktop does not let other programs hide windows">
        <source>this desktop does not let other programs hide windows</source>
        <translation>dieser Schreibtisch lässt andere Programme keine Fenster ausblenden</translation>
    </message>
    <message id="cannot connect to the session bus: %@">
        <source>cannot connect to the session bus: %@</source>
        <translation>keine Verbindung zum Sitzungsbus: %@</translation>
    </message>
    <message id="GNOME Shell is not running on this session bus">
        <source>GNOME Shell is not running on this session bus</source>
        <translation>GNOME Shell läuft auf diesem Sitzungsbus nicht</translation>
    </message>
    <message id="cannot own a bus name in Tidewell's namespace on the session bus">
        <source>cannot own a bus name in Tidewell's namespace on the session bus</source>
        <translation>auf dem Sitzungsbus lässt sich kein Busname im Namensraum von Tidewell belegen</translation>
    </message>
    <message id="GNOME Shell lets other programs hide windows only through Tidewell's GNOME Shell extension, which is not running: install it where `gnome-extensions info %@` does not find it (a newly installed extension is loaded at the next login), enable it with `gnome-extensions enable %@`, and turn extensions on as a whole where GNOME Shell has them off (`gsettings set org.gnome.shell disable-user-extensions false`)">
        <source>GNOME Shell lets other programs hide windows only through Tidewell's GNOME Shell extension, which is not running: install it where `gnome-extensions info %@` does not find it (a newly installed extension is loaded at the next login), enable it with `gnome-extensions enable %@`, and turn extensions on as a whole where GNOME Shell has them off (`gsettings set org.gnome.shell disable-user-extensions false`)</source>
        <translation>GNOME Shell lässt andere Programme Fenster nur über die GNOME-Shell-Erweiterung von Tidewell ausblenden, und die läuft nicht: Installieren Sie sie, wo `gnome-extensions info %@` sie nicht findet (eine neu installierte Erweiterung wird bei der nächsten Anmeldung geladen), schalten Sie sie mit `gnome-extensions enable %@` ein, und schalten Sie Erweiterungen insgesamt ein, wo GNOME Shell sie ausgeschaltet hat (`gsettings set org.gnome.shell disable-user-extensions false`)</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension did not answer: %@ %@">
        <source>Tidewell's GNOME Shell extension did not answer: %@ %@</source>
        <translation>die GNOME-Shell-Erweiterung von Tidewell hat nicht geantwortet: %@ %@</translation>
    </message>
    <message id="%@ window(s) stay shown: the window manager does not allow minimizing them">
        <source>%@ window(s) stay shown: the window manager does not allow minimizing them</source>
        <translation>%@ Fenster bleiben sichtbar: die Fensterverwaltung erlaubt nicht, sie zu minimieren</translation>
    </message>
</context>
</TS>
