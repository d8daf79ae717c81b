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
</context>
</TS>
