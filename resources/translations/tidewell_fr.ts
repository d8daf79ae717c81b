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
</context>
</TS>
