<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en_US">
<context>
    <name></name>
    <message id="Preferences...">
        <source>Preferences...</source>
        <translation>Préférences...</translation>
    </message>
    <message id="Hide All">
        <source>Hide All</source>
        <translation>Tout masquer</translation>
    </message>
    <message id="Show All">
        <source>Show All</source>
        <translation>Tout afficher</translation>
    </message>
    <message id="Toggle Visibility">
        <source>Toggle Visibility</source>
        <translation>Basculer la visibilité</translation>
    </message>
    <message id="Cannot run %@ from this location.">
        <source>Cannot run %@ from this location.</source>
        <translation>Impossible d’exécuter %@ depuis cet emplacement.</translation>
    </message>
    <message id="Quit %@, move it into your Applications folder, relaunch it from there and try again.">
        <source>Quit %@, move it into your Applications folder, relaunch it from there and try again.</source>
        <translation>Quittez %@, déplacez-le dans votre dossier Applications, relancez-le depuis cet endroit et réessayez.</translation>
    </message>
    <message id="OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="Cancel">
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message id="Quit">
        <source>Quit</source>
        <translation>Quitter</translation>
    </message>
    <message id="Tidewell never hides these applications:">
        <source>Tidewell never hides these applications:</source>
        <translation>Tidewell ne masque jamais ces applications :</translation>
    </message>
    <message id="Excluded applications">
        <source>Excluded applications</source>
        <translation>Applications exclues</translation>
    </message>
    <message id="Add...">
        <source>Add...</source>
        <translation>Ajouter...</translation>
    </message>
    <message id="Remove">
        <source>Remove</source>
        <translation>Supprimer</translation>
    </message>
    <message id="Applications (*.desktop)">
        <source>Applications (*.desktop)</source>
        <translation>Applications (*.desktop)</translation>
    </message>
    <message id="Select">
        <source>Select</source>
        <translation>Sélectionner</translation>
    </message>
    <message id="Standard">
        <source>Standard</source>
        <translation>Standard</translation>
    </message>
    <message id="Purple">
        <source>Purple</source>
        <translation>Violet</translation>
    </message>
    <message id="Graphite">
        <source>Graphite</source>
        <translation>Graphite</translation>
    </message>
    <message id="Dark">
        <source>Dark</source>
        <translation>Sombre</translation>
    </message>
    <message id="General">
        <source>General</source>
        <translation>Général</translation>
    </message>
    <message id="Exclude">
        <source>Exclude</source>
        <translation>Exclure</translation>
    </message>
    <message id="Icon style:">
        <source>Icon style:</source>
        <translation>Style d’icône :</translation>
    </message>
    <message id="Icon style">
        <source>Icon style</source>
        <translation>Style d’icône</translation>
    </message>
    <message id="Show Tidewell in the menu bar">
        <source>Show Tidewell in the menu bar</source>
        <translation>Afficher Tidewell dans la barre de menus</translation>
    </message>
    <message id="Start Tidewell at login">
        <source>Start Tidewell at login</source>
        <translation>Démarrer Tidewell à l’ouverture de session</translation>
    </message>
    <message id="Bring the file manager to the front">
        <source>Bring the file manager to the front</source>
        <translation>Mettre le gestionnaire de fichiers au premier plan</translation>
    </message>
    <message id="Open a new file manager window">
        <source>Open a new file manager window</source>
        <translation>Ouvrir une nouvelle fenêtre du gestionnaire de fichiers</translation>
    </message>
    <message id="Minimize the file manager's windows">
        <source>Minimize the file manager's windows</source>
        <translation>Réduire les fenêtres du gestionnaire de fichiers</translation>
    </message>
    <message id="Close all file manager windows">
        <source>Close all file manager windows</source>
        <translation>Fermer toutes les fenêtres du gestionnaire de fichiers</translation>
    </message>
    <message id="When hiding the others:">
        <source>When hiding the others:</source>
        <translation>En masquant les autres :</translation>
    </message>
    <message id="You may now quit Tidewell and continue running in menu bar mode.">
        <source>You may now quit Tidewell and continue running in menu bar mode.</source>
        <translation>Vous pouvez maintenant quitter Tidewell et continuer en mode barre de menus.</translation>
    </message>
    <message id="Later">
        <source>Later</source>
        <translation>Plus tard</translation>
    </message>
    <message id="To change this setting later, open Tidewell and adjust the Preferences.">
        <source>To change this setting later, open Tidewell and adjust the Preferences.</source>
        <translation>Pour modifier ce réglage plus tard, ouvrez Tidewell et ajustez les préférences.</translation>
    </message>
    <message id="There is an update to %@ available online.">
        <source>There is an update to %@ available online.</source>
        <translation>Une mise à jour de %@ est disponible en ligne.</translation>
    </message>
    <message id="Download">
        <source>Download</source>
        <translation>Télécharger</translation>
    </message>
    <message id="An error occurred while checking for an update.">
        <source>An error occurred while checking for an update.</source>
        <translation>Une erreur s’est produite lors de la recherche d’une mise à jour.</translation>
    </message>
    <message id="Please check your internet connection and try again.">
        <source>Please check your internet connection and try again.</source>
        <translation>Veuillez vérifier votre connexion Internet et réessayer.</translation>
    </message>
    <message id="You have the current version of %@.">
        <source>You have the current version of %@.</source>
        <translation>Vous avez la version actuelle de %@.</translation>
    </message>
    <message id="No updates are available.">
        <source>No updates are available.</source>
        <translation>Aucune mise à jour n’est disponible.</translation>
    </message>
    <message id="The operation couldn’t be completed. (%@ error %ld.)">
        <source>The operation couldn’t be completed. (%@ error %ld.)</source>
        <translation>L’opération n’a pas pu être achevée. (%@ erreur %ld.)</translation>
    </message>
    <message id="Check for Updates...">
        <source>Check for Updates...</source>
        <translation>Rechercher des mises à jour...</translation>
    </message>
    <message id="Product Page">
        <source>Product Page</source>
        <translation>Page du produit</translation>
    </message>
    <message id="Send Feedback...">
        <source>Send Feedback...</source>
        <translation>Envoyer un commentaire...</translation>
    </message>
    <message id="The change could not be saved: the settings file cannot be written.">
        <source>The change could not be saved: the settings file cannot be written.</source>
        <translation>La modification n’a pas pu être enregistrée : le fichier des réglages n’est pas modifiable.</translation>
    </message>
    <message id="Start at login could not be changed: the autostart folder cannot be written.">
        <source>Start at login could not be changed: the autostart folder cannot be written.</source>
        <translation>Le lancement à l’ouverture de session n’a pas pu être modifié : le dossier autostart n’est pas modifiable.</translation>
    </message>
    <message id="Status">
        <source>Status</source>
        <translation>État</translation>
    </message>
    <message id="%1 is not an application installed on this computer.">
        <source>%1 is not an application installed on this computer.</source>
        <translation>%1 n’est pas une application installée sur cet ordinateur.</translation>
    </message>
    <message id="%1 is not an application.">
        <source>%1 is not an application.</source>
        <translation>%1 n’est pas une application.</translation>
    </message>
    <message id="Print this help and exit.">
        <source>Print this help and exit.</source>
        <translation>Afficher cette aide et quitter.</translation>
    </message>
    <message id="Print the version and exit.">
        <source>Print the version and exit.</source>
        <translation>Afficher la version et quitter.</translation>
    </message>
    <message id="Hide every application but the file manager and the excluded ones (the tray menu's Hide All).">
        <source>Hide every application but the file manager and the excluded ones (the tray menu's Hide All).</source>
        <translation>Masquer toutes les applications sauf le gestionnaire de fichiers et les applications exclues (Tout masquer dans le menu de l'icône).</translation>
    </message>
    <message id="Show every application again and bring back the one that was in front (Show All).">
        <source>Show every application again and bring back the one that was in front (Show All).</source>
        <translation>Afficher de nouveau toutes les applications et ramener au premier plan celle qui y était (Tout afficher).</translation>
    </message>
    <message id="Print what the running Tidewell has handled so far and the application Show All brings back to the front.">
        <source>Print what the running Tidewell has handled so far and the application Show All brings back to the front.</source>
        <translation>Afficher ce que Tidewell en cours d'exécution a traité jusqu'ici et l'application que Tout afficher ramène au premier plan.</translation>
    </message>
    <message id="Clears the screen down to the desktop. Started while Tidewell runs, it hands its request to the running Tidewell and exits; with no argument the request is a click on Tidewell's icon (hide the others; with Shift held, show all).">
        <source>Clears the screen down to the desktop. Started while Tidewell runs, it hands its request to the running Tidewell and exits; with no argument the request is a click on Tidewell's icon (hide the others; with Shift held, show all).</source>
        <translation>Dégage l'écran jusqu'au bureau. Lancé pendant que Tidewell s'exécute, il transmet sa demande au Tidewell en cours et se termine ; sans argument, la demande est un clic sur l'icône de Tidewell (masquer les autres ; avec Maj enfoncée, tout afficher).</translation>
    </message>
    <message id="An x-tidewell-action: request for the running Tidewell; x-tidewell-action://preferences opens its preferences.">
        <source>An x-tidewell-action: request for the running Tidewell; x-tidewell-action://preferences opens its preferences.</source>
        <translation>Une demande x-tidewell-action: pour le Tidewell en cours ; x-tidewell-action://preferences ouvre ses préférences.</translation>
    </message>
    <message id="cannot follow the hidden windows: %@">
        <source>cannot follow the hidden windows: %@</source>
        <translation>impossible de suivre les fenêtres masquées : %@</translation>
    </message>
    <message id="%@ is already the shortcut of &quot;%@&quot; in %@.">
        <source>%@ is already the shortcut of &quot;%@&quot; in %@.</source>
        <translation>%@ est déjà le raccourci de « %@ » dans %@.</translation>
    </message>
    <message id="GNOME Shell did not answer: %@.">
        <source>GNOME Shell did not answer: %@.</source>
        <translation>GNOME Shell n’a pas répondu : %@.</translation>
    </message>
    <message id="GNOME Shell has no global shortcut with the key %@.">
        <source>GNOME Shell has no global shortcut with the key %@.</source>
        <translation>GNOME Shell n’a pas de raccourci global avec la touche %@.</translation>
    </message>
    <message id="GNOME Shell or another program already uses %@ as a shortcut.">
        <source>GNOME Shell or another program already uses %@ as a shortcut.</source>
        <translation>GNOME Shell ou un autre programme utilise déjà %@ comme raccourci.</translation>
    </message>
    <message id="KDE Plasma did not take %@ as a global shortcut.">
        <source>KDE Plasma did not take %@ as a global shortcut.</source>
        <translation>KDE Plasma n’a pas accepté %@ comme raccourci global.</translation>
    </message>
    <message id="KDE Plasma has no global shortcut with the key %@.">
        <source>KDE Plasma has no global shortcut with the key %@.</source>
        <translation>KDE Plasma n’a pas de raccourci global avec la touche %@.</translation>
    </message>
    <message id="KDE's global-shortcut service (%@) does not answer: %@.">
        <source>KDE's global-shortcut service (%@) does not answer: %@.</source>
        <translation>Le service de raccourcis globaux de KDE (%@) ne répond pas : %@.</translation>
    </message>
    <message id="KDE's global-shortcut service is out of reach: no session bus (%@).">
        <source>KDE's global-shortcut service is out of reach: no session bus (%@).</source>
        <translation>Le service de raccourcis globaux de KDE est hors d’atteinte : pas de bus de session (%@).</translation>
    </message>
    <message id="KDE's global-shortcut service refused the shortcut: %@.">
        <source>KDE's global-shortcut service refused the shortcut: %@.</source>
        <translation>Le service de raccourcis globaux de KDE a refusé le raccourci : %@.</translation>
    </message>
    <message id="The connection to the session bus is lost.">
        <source>The connection to the session bus is lost.</source>
        <translation>La connexion au bus de session est perdue.</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is not running; the shortcut works once it is enabled (%@).">
        <source>Tidewell's GNOME Shell extension is not running; the shortcut works once it is enabled (%@).</source>
        <translation>L’extension GNOME Shell de Tidewell ne tourne pas ; le raccourci fonctionnera une fois qu’elle sera activée (%@).</translation>
    </message>
    <message id="Tidewell is running but did not answer">
        <source>Tidewell is running but did not answer</source>
        <translation>Tidewell s'exécute mais n'a pas répondu</translation>
    </message>
    <message id="Tidewell is not running">
        <source>Tidewell is not running</source>
        <translation>Tidewell ne s'exécute pas</translation>
    </message>
    <message id="Exit status: 0 done, 1 failure (no desktop, no answer from the running Tidewell), 2 bad usage, 3 --status with no Tidewell running.">
        <source>Exit status: 0 done, 1 failure (no desktop, no answer from the running Tidewell), 2 bad usage, 3 --status with no Tidewell running.</source>
        <translation>Code de retour : 0 fait, 1 échec (pas de bureau, pas de réponse du Tidewell en cours), 2 mauvais usage, 3 --status sans Tidewell en cours.</translation>
    </message>
    <message id="one request at a time: --hide-all, --show-all, --status or a URL">
        <source>one request at a time: --hide-all, --show-all, --status or a URL</source>
        <translation>une demande à la fois : --hide-all, --show-all, --status ou une URL</translation>
    </message>
    <message id="the URL is too long">
        <source>the URL is too long</source>
        <translation>l'URL est trop longue</translation>
    </message>
    <message id="Try 'tidewell --help' for more information.">
        <source>Try 'tidewell --help' for more information.</source>
        <translation>Essayez « tidewell --help » pour plus d'informations.</translation>
    </message>
    <message id="no desktop to work on: %@">
        <source>no desktop to work on: %@</source>
        <translation>aucun bureau sur lequel travailler : %@</translation>
    </message>
    <message id="hide every application but the file manager and the excluded ones">
        <source>hide every application but the file manager and the excluded ones</source>
        <translation>masquer toutes les applications sauf le gestionnaire de fichiers et les exclues</translation>
    </message>
    <message id="show every hidden application and bring back the one in front">
        <source>show every hidden application and bring back the one in front</source>
        <translation>afficher toutes les applications masquées et ramener celle du premier plan</translation>
    </message>
    <message id="print the running applications">
        <source>print the running applications</source>
        <translation>afficher les applications en cours</translation>
    </message>
    <message id="print front switches; read the commands above from standard input">
        <source>print front switches; read the commands above from standard input</source>
        <translation>afficher les changements d'application au premier plan ; lire les commandes ci-dessus sur l'entrée standard</translation>
    </message>
    <message id="print this help and exit">
        <source>print this help and exit</source>
        <translation>afficher cette aide et quitter</translation>
    </message>
    <message id="print the version and exit">
        <source>print the version and exit</source>
        <translation>afficher la version et quitter</translation>
    </message>
    <message id="work on the X display D (default: the session's desktop: on $WAYLAND_DISPLAY GNOME Shell when Tidewell's extension answers, KWin when it offers its window management; else $DISPLAY)">
        <source>work on the X display D (default: the session's desktop: on $WAYLAND_DISPLAY GNOME Shell when Tidewell's extension answers, KWin when it offers its window management; else $DISPLAY)</source>
        <translation>travailler sur l'écran X D (par défaut : le bureau de la session : sur $WAYLAND_DISPLAY, GNOME Shell si l'extension de Tidewell répond, KWin s'il offre sa gestion des fenêtres ; sinon $DISPLAY)</translation>
    </message>
    <message id="leave the application ID alone in this run, as if it were excluded">
        <source>leave the application ID alone in this run, as if it were excluded</source>
        <translation>laisser l'application ID tranquille pendant cette exécution, comme si elle était exclue</translation>
    </message>
    <message id="usage: %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMAND">
        <source>usage: %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMAND</source>
        <translation>usage : %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMANDE</translation>
    </message>
    <message id="commands:">
        <source>commands:</source>
        <translation>commandes :</translation>
    </message>
    <message id="options:">
        <source>options:</source>
        <translation>options :</translation>
    </message>
    <message id="Settings are read from the user's files, as the application reads them (%@). With --set or --exclude the files are only read: the changes apply to this run alone.">
        <source>Settings are read from the user's files, as the application reads them (%@). With --set or --exclude the files are only read: the changes apply to this run alone.</source>
        <translation>Les réglages sont lus dans les fichiers de l'utilisateur, comme l'application les lit (%@). Avec --set ou --exclude, les fichiers sont seulement lus : les changements ne valent que pour cette exécution.</translation>
    </message>
    <message id="lost the desktop's server">
        <source>lost the desktop's server</source>
        <translation>la connexion au serveur du bureau est perdue</translation>
    </message>
    <message id="unknown command">
        <source>unknown command</source>
        <translation>commande inconnue</translation>
    </message>
    <message id="this name is deprecated and will go in the next release; use %@">
        <source>this name is deprecated and will go in the next release; use %@</source>
        <translation>ce nom est obsolète et disparaîtra à la prochaine version ; utilisez %@</translation>
    </message>
    <message id="%@ needs a value">
        <source>%@ needs a value</source>
        <translation>%@ attend une valeur</translation>
    </message>
    <message id="--set wants KEY=VALUE, not '%@'">
        <source>--set wants KEY=VALUE, not '%@'</source>
        <translation>--set attend KEY=VALUE, pas « %@ »</translation>
    </message>
    <message id="--exclude wants an application ID">
        <source>--exclude wants an application ID</source>
        <translation>--exclude attend un identifiant d'application</translation>
    </message>
    <message id="unknown option %@">
        <source>unknown option %@</source>
        <translation>option inconnue %@</translation>
    </message>
    <message id="no command">
        <source>no command</source>
        <translation>aucune commande</translation>
    </message>
    <message id="unknown command or wrong arguments: %@">
        <source>unknown command or wrong arguments: %@</source>
        <translation>commande inconnue ou arguments incorrects : %@</translation>
    </message>
    <message id="the window manager does not minimize windows; nothing was hidden">
        <source>the window manager does not minimize windows; nothing was hidden</source>
        <translation>le gestionnaire de fenêtres ne réduit pas les fenêtres ; rien n'a été masqué</translation>
    </message>
    <message id="Tidewell Menu: Hide All, Show All, the running applications to toggle, Preferences... and Quit from a tray icon of its own. Tidewell starts it when menu-bar mode is on; one runs per session.">
        <source>Tidewell Menu: Hide All, Show All, the running applications to toggle, Preferences... and Quit from a tray icon of its own. Tidewell starts it when menu-bar mode is on; one runs per session.</source>
        <translation>Tidewell Menu : Tout masquer, Tout afficher, les applications en cours à basculer, Préférences... et Quitter depuis une icône à lui dans la zone de notification. Tidewell le lance quand le mode barre de menus est activé ; un seul s'exécute par session.</translation>
    </message>
    <message id="no arguments are taken">
        <source>no arguments are taken</source>
        <translation>aucun argument n'est accepté</translation>
    </message>
    <message id="Try 'tidewell-helper --help' for more information.">
        <source>Try 'tidewell-helper --help' for more information.</source>
        <translation>Essayez « tidewell-helper --help » pour plus d'informations.</translation>
    </message>
    <message id="Exit status: 0 done (or another Tidewell Menu already runs), 1 no desktop, 2 bad usage.">
        <source>Exit status: 0 done (or another Tidewell Menu already runs), 1 no desktop, 2 bad usage.</source>
        <translation>Code de retour : 0 fait (ou un autre Tidewell Menu s'exécute déjà), 1 pas de bureau, 2 mauvais usage.</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is not installed.">
        <source>Tidewell's GNOME Shell extension is not installed.</source>
        <translation>L’extension GNOME Shell de Tidewell n’est pas installée.</translation>
    </message>
    <message id="GNOME Shell lets Tidewell hide and show windows only through it. The Debian package tidewell installs it for all users; from a build, “cmake --install” installs it, or copy the build's folder %@ into %@. GNOME Shell loads a newly installed extension at the next login: log out, log in again and start Tidewell.">
        <source>GNOME Shell lets Tidewell hide and show windows only through it. The Debian package tidewell installs it for all users; from a build, “cmake --install” installs it, or copy the build's folder %@ into %@. GNOME Shell loads a newly installed extension at the next login: log out, log in again and start Tidewell.</source>
        <translation>GNOME Shell ne laisse Tidewell masquer et afficher des fenêtres que par elle. Le paquet Debian tidewell l’installe pour tous les utilisateurs ; depuis une compilation, « cmake --install » l’installe, ou copiez le dossier %@ de la compilation dans %@. GNOME Shell charge une extension nouvellement installée à la prochaine connexion : déconnectez-vous, reconnectez-vous et relancez Tidewell.</translation>
    </message>
    <message id="GNOME Shell has not loaded Tidewell's extension yet.">
        <source>GNOME Shell has not loaded Tidewell's extension yet.</source>
        <translation>GNOME Shell n’a pas encore chargé l’extension de Tidewell.</translation>
    </message>
    <message id="It is installed (in %@), but GNOME Shell loads a newly installed extension only at the next login: log out, log in again and start Tidewell.">
        <source>It is installed (in %@), but GNOME Shell loads a newly installed extension only at the next login: log out, log in again and start Tidewell.</source>
        <translation>Elle est installée (dans %@), mais GNOME Shell ne charge une extension nouvellement installée qu’à la prochaine connexion : déconnectez-vous, reconnectez-vous et relancez Tidewell.</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is turned off.">
        <source>Tidewell's GNOME Shell extension is turned off.</source>
        <translation>L’extension GNOME Shell de Tidewell est désactivée.</translation>
    </message>
    <message id="GNOME Shell lets Tidewell hide and show windows only through it. Enable it to go on; the Extensions application turns it off again.">
        <source>GNOME Shell lets Tidewell hide and show windows only through it. Enable it to go on; the Extensions application turns it off again.</source>
        <translation>GNOME Shell ne laisse Tidewell masquer et afficher des fenêtres que par elle. Activez-la pour continuer ; l’application « Extensions » la désactive de nouveau.</translation>
    </message>
    <message id="GNOME Shell has all extensions you installed turned off.">
        <source>GNOME Shell has all extensions you installed turned off.</source>
        <translation>GNOME Shell a désactivé toutes les extensions que vous avez installées.</translation>
    </message>
    <message id="Tidewell hides and shows windows through its GNOME Shell extension, which cannot run while extensions are off as a whole (the main switch of the Extensions application). Turning them on turns on every other extension you enabled as well.">
        <source>Tidewell hides and shows windows through its GNOME Shell extension, which cannot run while extensions are off as a whole (the main switch of the Extensions application). Turning them on turns on every other extension you enabled as well.</source>
        <translation>Tidewell masque et affiche les fenêtres par son extension GNOME Shell, qui ne peut pas fonctionner tant que les extensions sont désactivées dans leur ensemble (l’interrupteur principal de l’application « Extensions »). Les activer active aussi toutes les autres extensions que vous avez activées.</translation>
    </message>
    <message id="Turn On Extensions">
        <source>Turn On Extensions</source>
        <translation>Activer les extensions</translation>
    </message>
    <message id="GNOME Shell could not start Tidewell's extension.">
        <source>GNOME Shell could not start Tidewell's extension.</source>
        <translation>GNOME Shell n’a pas pu démarrer l’extension de Tidewell.</translation>
    </message>
    <message id="GNOME Shell says: %@">
        <source>GNOME Shell says: %@</source>
        <translation>GNOME Shell indique : %@</translation>
    </message>
    <message id="Enable the Extension">
        <source>Enable the Extension</source>
        <translation>Activer l’extension</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension is back">
        <source>Tidewell's GNOME Shell extension is back</source>
        <translation>L’extension GNOME Shell de Tidewell est de retour</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension was turned off">
        <source>Tidewell's GNOME Shell extension was turned off</source>
        <translation>L’extension GNOME Shell de Tidewell a été désactivée</translation>
    </message>
    <message id="Hide All and Show All work again.">
        <source>Hide All and Show All work again.</source>
        <translation>« Tout masquer » et « Tout afficher » fonctionnent de nouveau.</translation>
    </message>
    <message id="Tidewell cannot hide or show windows until it is turned on again. Nothing Tidewell hid is forgotten.">
        <source>Tidewell cannot hide or show windows until it is turned on again. Nothing Tidewell hid is forgotten.</source>
        <translation>Tidewell ne peut ni masquer ni afficher de fenêtres tant qu’elle n’est pas réactivée. Rien de ce que Tidewell a masqué n’est oublié.</translation>
    </message>
    <message id="Hide Others">
        <source>Hide Others</source>
        <translation>Masquer les autres</translation>
    </message>
    <message id="%@ is already the shortcut of %@.">
        <source>%@ is already the shortcut of %@.</source>
        <translation>%@ est déjà le raccourci de « %@ ».</translation>
    </message>
    <message id="&quot;%@&quot; is not a key combination.">
        <source>&quot;%@&quot; is not a key combination.</source>
        <translation>« %@ » n’est pas une combinaison de touches.</translation>
    </message>
    <message id="No key of this keyboard types %@.">
        <source>No key of this keyboard types %@.</source>
        <translation>Aucune touche de ce clavier ne produit %@.</translation>
    </message>
    <message id="Another program already uses %@ as a shortcut.">
        <source>Another program already uses %@ as a shortcut.</source>
        <translation>Un autre programme utilise déjà %@ comme raccourci.</translation>
    </message>
    <message id="The X server refused the shortcut %@.">
        <source>The X server refused the shortcut %@.</source>
        <translation>Le serveur X a refusé le raccourci %@.</translation>
    </message>
    <message id="The connection to the X server is lost.">
        <source>The connection to the X server is lost.</source>
        <translation>La connexion au serveur X est perdue.</translation>
    </message>
    <message id="Hide Others:">
        <source>Hide Others:</source>
        <translation>Masquer les autres :</translation>
    </message>
    <message id="Hide Others shortcut">
        <source>Hide Others shortcut</source>
        <translation>Raccourci de Masquer les autres</translation>
    </message>
    <message id="Show All:">
        <source>Show All:</source>
        <translation>Tout afficher :</translation>
    </message>
    <message id="Show All shortcut">
        <source>Show All shortcut</source>
        <translation>Raccourci de Tout afficher</translation>
    </message>
    <message id="Press a combination...">
        <source>Press a combination...</source>
        <translation>Appuyez sur une combinaison...</translation>
    </message>
    <message id="None">
        <source>None</source>
        <translation>Aucun</translation>
    </message>
    <message id="A shortcut needs Ctrl, Alt or Meta, unless it is a function key (F1 to F35).">
        <source>A shortcut needs Ctrl, Alt or Meta, unless it is a function key (F1 to F35).</source>
        <translation>Un raccourci doit comporter Ctrl, Alt ou Méta, sauf une touche de fonction (F1 à F35).</translation>
    </message>
    <message id="hide the application with desktop-entry ID when it is shown (in front or not); show and activate it when it is hidden">
        <source>hide the application with desktop-entry ID when it is shown (in front or not); show and activate it when it is hidden</source>
        <translation>masquer l'application d'identifiant ID (entrée de bureau) si elle est affichée (au premier plan ou non) ; l'afficher et l'activer si elle est masquée</translation>
    </message>
    <message id="use V for setting K in this run: ShowFinder, ShowWindow, Minimize, CloseAllFinder, Menubar or CheckForUpdates (YES or NO), IconStyle2 (1, 2, 4 or 5), HideOthersShortcut or ShowAllShortcut (a key combination such as Ctrl+Alt+H, or nothing)">
        <source>use V for setting K in this run: ShowFinder, ShowWindow, Minimize, CloseAllFinder, Menubar or CheckForUpdates (YES or NO), IconStyle2 (1, 2, 4 or 5), HideOthersShortcut or ShowAllShortcut (a key combination such as Ctrl+Alt+H, or nothing)</source>
        <translation>utiliser V pour le réglage K pendant cette exécution : ShowFinder, ShowWindow, Minimize, CloseAllFinder, Menubar ou CheckForUpdates (YES ou NO), IconStyle2 (1, 2, 4 ou 5), HideOthersShortcut ou ShowAllShortcut (une combinaison de touches comme Ctrl+Alt+H, ou rien)</translation>
    </message>
    <message id="exit status: 0 done, 1 no desktop to work on, 2 bad usage, 3 the window manager does not minimize windows (nothing was hidden), 4 no running application has the ID given to toggle, 5 some windows stay shown because the window manager does not allow minimizing them (the others were hidden)">
        <source>exit status: 0 done, 1 no desktop to work on, 2 bad usage, 3 the window manager does not minimize windows (nothing was hidden), 4 no running application has the ID given to toggle, 5 some windows stay shown because the window manager does not allow minimizing them (the others were hidden)</source>
        <translation>code de retour : 0 fait, 1 aucun bureau sur lequel travailler, 2 mauvais usage, 3 le gestionnaire de fenêtres ne réduit pas les fenêtres (rien n'a été masqué), 4 aucune application en cours n'a l'identifiant donné à toggle, 5 des fenêtres restent affichées car le gestionnaire de fenêtres ne permet pas de les réduire (les autres ont été masquées)</translation>
    </message>
    <message id="%@ takes YES or NO, not '%@'">
        <source>%@ takes YES or NO, not '%@'</source>
        <translation>%@ prend YES ou NO, pas « %@ »</translation>
    </message>
    <message id="%@ takes 1, 2, 4 or 5, not '%@'">
        <source>%@ takes 1, 2, 4 or 5, not '%@'</source>
        <translation>%@ prend 1, 2, 4 ou 5, pas « %@ »</translation>
    </message>
    <message id="%@ takes a key combination with Ctrl, Alt or Meta (such as Ctrl+Alt+H) or nothing, not '%@'">
        <source>%@ takes a key combination with Ctrl, Alt or Meta (such as Ctrl+Alt+H) or nothing, not '%@'</source>
        <translation>%@ prend une combinaison de touches avec Ctrl, Alt ou Meta (comme Ctrl+Alt+H) ou rien, pas « %@ »</translation>
    </message>
    <message id="unknown setting %@">
        <source>unknown setting %@</source>
        <translation>réglage inconnu %@</translation>
    </message>
    <message id="Try '%@ --help' for more information.">
        <source>Try '%@ --help' for more information.</source>
        <translation>Essayez « %@ --help » pour plus d'informations.</translation>
    </message>
    <message id="no running application has the ID %@ (see '%@ list')">
        <source>no running application has the ID %@ (see '%@ list')</source>
        <translation>aucune application en cours n'a l'identifiant %@ (voir « %@ list »)</translation>
    </message>
    <message id="warning: --exclude %@ names no installed or running application">
        <source>warning: --exclude %@ names no installed or running application</source>
        <translation>avertissement : --exclude %@ ne nomme aucune application installée ou en cours</translation>
    </message>
    <message id="another run keeps the desktop busy; going ahead without waiting for it">
        <source>another run keeps the desktop busy; going ahead without waiting for it</source>
        <translation>une autre exécution occupe le bureau ; on continue sans l'attendre</translation>
    </message>
    <message id="cannot open the X11 display %@">
        <source>cannot open the X11 display %@</source>
        <translation>impossible d'ouvrir l'affichage X11 %@</translation>
    </message>
    <message id="no desktop session (neither WAYLAND_DISPLAY nor DISPLAY is set)">
        <source>no desktop session (neither WAYLAND_DISPLAY nor DISPLAY is set)</source>
        <translation>aucune session de bureau (ni WAYLAND_DISPLAY ni DISPLAY n'est défini)</translation>
    </message>
    <message id="%@ is no request Tidewell knows (it takes x-tidewell-action://preferences)">
        <source>%@ is no request Tidewell knows (it takes x-tidewell-action://preferences)</source>
        <translation>%@ n'est pas une requête connue de Tidewell (il prend x-tidewell-action://preferences)</translation>
    </message>
    <message id="Tidewell is ending and takes no requests">
        <source>Tidewell is ending and takes no requests</source>
        <translation>Tidewell se termine et ne prend aucune requête</translation>
    </message>
    <message id="the follower of hidden windows (process %@) did not answer; a new one takes its place">
        <source>the follower of hidden windows (process %@) did not answer; a new one takes its place</source>
        <translation>le suivi des fenêtres masquées (processus %@) n'a pas répondu ; un nouveau prend sa place</translation>
    </message>
    <message id="the follower of hidden windows did not answer; a window restored by hand may come back at the next show-all">
        <source>the follower of hidden windows did not answer; a window restored by hand may come back at the next show-all</source>
        <translation>le suivi des fenêtres masquées n'a pas répondu ; une fenêtre restaurée à la main peut revenir au prochain show-all</translation>
    </message>
    <message id="no Wayland display (WAYLAND_DISPLAY is not set)">
        <source>no Wayland display (WAYLAND_DISPLAY is not set)</source>
        <translation>pas d'affichage Wayland (WAYLAND_DISPLAY n'est pas défini)</translation>
    </message>
    <message id="cannot connect to the Wayland display %@">
        <source>cannot connect to the Wayland display %@</source>
        <translation>impossible de se connecter à l'affichage Wayland %@</translation>
    </message>
    <message id="the Wayland display %@ does not answer">
        <source>the Wayland display %@ does not answer</source>
        <translation>l'affichage Wayland %@ ne répond pas</translation>
    </message>
    <message id="the compositor's window management is too old (version %@, %@ needed)">
        <source>the compositor's window management is too old (version %@, %@ needed)</source>
        <translation>la gestion des fenêtres du compositeur est trop ancienne (version %@, %@ requise)</translation>
    </message>
    <message id="KWin does not let this program manage windows: it needs a desktop entry whose Exec names this program by its full path and that carries X-KDE-Wayland-Interfaces=org_kde_plasma_window_management">
        <source>KWin does not let this program manage windows: it needs a desktop entry whose Exec names this program by its full path and that carries X-KDE-Wayland-Interfaces=org_kde_plasma_window_management</source>
        <translation>KWin ne laisse pas ce programme gérer les fenêtres : il lui faut une entrée de bureau dont Exec nomme ce programme par son chemin complet et qui porte X-KDE-Wayland-Interfaces=org_kde_plasma_window_management</translation>
    </message>
    <message id="this desktop does not let other programs hide windows">
        <source>this desktop does not let other programs hide windows</source>
        <translation>ce bureau ne laisse pas d'autres programmes masquer des fenêtres</translation>
    </message>
    <message id="cannot connect to the session bus: %@">
        <source>cannot connect to the session bus: %@</source>
        <translation>impossible de se connecter au bus de session : %@</translation>
    </message>
    <message id="GNOME Shell is not running on this session bus">
        <source>GNOME Shell is not running on this session bus</source>
        <translation>GNOME Shell ne tourne pas sur ce bus de session</translation>
    </message>
    <message id="cannot own a bus name in Tidewell's namespace on the session bus">
        <source>cannot own a bus name in Tidewell's namespace on the session bus</source>
        <translation>impossible d'obtenir un nom de bus dans l'espace de noms de Tidewell sur le bus de session</translation>
    </message>
    <message id="GNOME Shell lets other programs hide windows only through Tidewell's GNOME Shell extension, which is not running: install it where `gnome-extensions info %@` does not find it (a newly installed extension is loaded at the next login), enable it with `gnome-extensions enable %@`, and turn extensions on as a whole where GNOME Shell has them off (`gsettings set org.gnome.shell disable-user-extensions false`)">
        <source>GNOME Shell lets other programs hide windows only through Tidewell's GNOME Shell extension, which is not running: install it where `gnome-extensions info %@` does not find it (a newly installed extension is loaded at the next login), enable it with `gnome-extensions enable %@`, and turn extensions on as a whole where GNOME Shell has them off (`gsettings set org.gnome.shell disable-user-extensions false`)</source>
        <translation>GNOME Shell ne laisse d'autres programmes masquer des fenêtres que par l'extension GNOME Shell de Tidewell, qui ne tourne pas : installez-la là où `gnome-extensions info %@` ne la trouve pas (une extension nouvellement installée est chargée à la prochaine connexion), activez-la avec `gnome-extensions enable %@`, et activez les extensions dans leur ensemble là où GNOME Shell les a désactivées (`gsettings set org.gnome.shell disable-user-extensions false`)</translation>
    </message>
    <message id="Tidewell's GNOME Shell extension did not answer: %@ %@">
        <source>Tidewell's GNOME Shell extension did not answer: %@ %@</source>
        <translation>l'extension GNOME Shell de Tidewell n'a pas répondu : %@ %@</translation>
    </message>
    <message id="%@ window(s) stay shown: the window manager does not allow minimizing them">
        <source>%@ window(s) stay shown: the window manager does not allow minimizing them</source>
        <translation>%@ fenêtre(s) restent affichées : le gestionnaire de fenêtres ne permet pas de les réduire</translation>
    </message>
</context>
</TS>
