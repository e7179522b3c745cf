// Everything the page says; {} is a gap. `errors` say why a request failed or was refused, by the program's own
// error key where it has one.

export const languages = {
  en: {
    title: 'Digital TV',
    intro: 'Recording and streaming on this appliance',
    service: 'Service',
    dtv_service: 'Digital TV (DTV) service',
    dtv_service_hint: 'Switching it off stops live TV, streaming and recordings.',
    folder: 'Recording folder',
    share: 'Shared folder',
    share_hint: 'The share that holds the recordings.',
    subpath: 'Folder in it (optional)',
    subpath_hint: 'Leave empty to record into the shared folder itself.',
    destination: 'Resulting path:',
    moving: 'Saving removes {} from the media index. The recordings in it stay where they are.',
    recording: 'Recording',
    closestreaming: 'Stop streaming while recording',
    closestreaming_hint: 'Recordings get the tuner to themselves.',
    pre_recording: 'Start early',
    pre_recording_hint: 'How long before a programme its recording starts.',
    post_recording: 'End late',
    post_recording_hint: 'How long after a programme its recording ends.',
    seconds: 'seconds',
    streaming: 'Streaming access',
    enableauth: 'Require sign-in',
    enableauth_hint: 'Viewers give the account and password below.',
    account: 'Account',
    passwd: 'Password',
    passwd_hint: 'Leave empty to keep the stored password.',
    password_confirm: 'Confirm password',
    show_password: 'Show password',
    hide_password: 'Hide password',
    enable_viewer_limit: 'Limit viewers',
    enable_viewer_limit_hint: 'Limits how many can watch at the same time.',
    streaming_limit: 'Maximum viewers',
    conflict:
      'A tuner conflict exists: another program on this appliance uses the same tuner. Stop that program, or have it use another tuner.',
    unreadable_notice:
      'Some stored settings can’t be read: a settings file may be missing or damaged. They are marked below. Saving replaces them with what is shown; an empty account stays as stored.',

    save: 'Save',
    discard: 'Discard',
    retry: 'Retry',
    loading: 'Loading…',
    slow: 'This can take a minute.',
    loaded: 'Settings loaded.',
    discarded: 'Changes discarded.',
    unsaved: 'Unsaved changes',
    invalid: 'Fields to correct: {}',
    contested:
      'Not saved yet: these settings were changed elsewhere, too. Check the marked fields, then save.',
    unreadable: 'Some stored settings can’t be read. Check the marked fields, then save.',
    saving: 'Saving…',
    saved: 'Settings saved.',
    lost: 'Somebody else has probably saved at the same moment.',
    ineffective: 'The setting with a notice may have no effect.',
    news: 'Changes made elsewhere are marked.',
    not_loaded: 'The stored settings could not be loaded.',
    nothing_saved: 'Nothing was saved.',
    not_stored: 'The settings marked “unsaved” are not stored.',
    password_unknown: 'It is not known whether the new password was saved.',
    all_stored: 'Your changes are stored.',
    outcome_unknown: 'It is not known what was saved. Try to save again.',

    mark: 'unsaved',
    changed: 'Changed elsewhere.',
    changed_to: 'Changed elsewhere. Stored now: {}',
    void: 'After a change elsewhere, yours no longer applies.',
    unread: 'The stored value can’t be read.',
    on: 'on',
    off: 'off',
    nothing: 'nothing',
    share_cleared: 'The recording folder can be changed but not removed. Enter a shared folder.',
    share_slash: 'The name of a shared folder has no slash. Folders inside it belong in “Folder in it”.',
    subpath_slash: 'Leave out slashes at the beginning and at the end, and double ones.',
    folder_dots: 'A folder can’t be named “.” or “..”.',
    invisible: 'There is an invisible character in it, such as a tab. Type it anew.',
    number_not_whole: 'Enter a whole number.',
    number_too_large: 'This number is too large.',
    time_negative: 'Enter 0 or more seconds.',
    limit_below_one: 'Enter 1 or more viewers.',
    account_missing: 'Sign-in needs an account. Enter one.',
    password_missing: 'Sign-in needs a password. Enter one.',
    password_reserved: 'This password can’t be used. Choose another one.',
    password_differs: 'The two passwords are not the same.',
    share_ineffective:
      'The appliance has stored the folder {} but may not have set it up. Check that the shared folder exists. Then save the previous folder again, and after it this one. If there was none, save any other existing folder first.',
    dtv_service_ineffective:
      'The appliance has stored the choice that was saved last but may not have started or stopped the service. Save the opposite choice, and then that one again.',
    errors: {
      unknown: 'The appliance reported an error.',
      unreachable: 'The appliance can’t be reached.',
      no_answer: 'The appliance has not answered.',
      unreadable: 'The appliance gave no proper answer.',
      busy: 'The appliance is busy. Try again in a minute.',
      too_slow: 'The appliance took too long. What it was doing may go on.',
      signed_out: 'The appliance did not accept your sign-in.',
      error_privilege_not_enough: 'Only an administrator can see and change these settings.',
      error_duplicate_path:
        'Another library already uses {}, a folder in it or a folder around it. Change the shared folder or the folder in it.',
    },
  },
  de: {
    title: 'Digitales Fernsehen',
    intro: 'Aufnahme und Streaming auf diesem Gerät',
    service: 'Dienst',
    dtv_service: 'Dienst für digitales Fernsehen (DTV)',
    dtv_service_hint: 'Abschalten beendet Live-TV, Streaming und Aufnahmen.',
    folder: 'Aufnahmeordner',
    share: 'Freigegebener Ordner',
    share_hint: 'Die Freigabe mit den Aufnahmen.',
    subpath: 'Ordner darin (optional)',
    subpath_hint: 'Leer lassen, um in den freigegebenen Ordner selbst aufzunehmen.',
    destination: 'Ergibt den Pfad:',
    moving: 'Speichern nimmt {} aus dem Medienindex. Die Aufnahmen darin bleiben, wo sie sind.',
    recording: 'Aufnahme',
    closestreaming: 'Streaming während der Aufnahme beenden',
    closestreaming_hint: 'Aufnahmen haben den Tuner dann für sich allein.',
    pre_recording: 'Früher beginnen',
    pre_recording_hint: 'Wie lange vor einer Sendung die Aufnahme beginnt.',
    post_recording: 'Später enden',
    post_recording_hint: 'Wie lange nach einer Sendung die Aufnahme endet.',
    seconds: 'Sekunden',
    streaming: 'Zugang zum Streaming',
    enableauth: 'Anmeldung verlangen',
    enableauth_hint: 'Zuschauer geben dieses Konto und Passwort an.',
    account: 'Konto',
    passwd: 'Passwort',
    passwd_hint: 'Leer lassen, um das gespeicherte Passwort zu behalten.',
    password_confirm: 'Passwort bestätigen',
    show_password: 'Passwort zeigen',
    hide_password: 'Passwort verbergen',
    enable_viewer_limit: 'Zuschauer begrenzen',
    enable_viewer_limit_hint: 'Begrenzt, wie viele gleichzeitig zusehen können.',
    streaming_limit: 'Höchstzahl der Zuschauer',
    conflict:
      'Es besteht ein Tuner-Konflikt: Ein anderes Programm auf diesem Gerät benutzt denselben Tuner. Beenden Sie dieses Programm oder weisen Sie ihm einen anderen Tuner zu.',
    unreadable_notice:
      'Gespeicherte Einstellungen sind nicht lesbar: Eine Datei fehlt vielleicht oder ist beschädigt. Die Felder sind unten markiert. Speichern ersetzt das Gespeicherte durch das, was angezeigt wird; ein leeres Konto bleibt, wie es gespeichert ist.',

    save: 'Speichern',
    discard: 'Verwerfen',
    retry: 'Erneut versuchen',
    loading: 'Wird geladen …',
    slow: 'Das kann eine Minute dauern.',
    loaded: 'Einstellungen geladen.',
    discarded: 'Änderungen verworfen.',
    unsaved: 'Ungespeicherte Änderungen',
    invalid: 'Zu berichtigende Felder: {}',
    contested:
      'Noch nicht gespeichert: Das wurde auch anderswo geändert. Prüfen Sie die markierten Felder, dann speichern Sie.',
    unreadable: 'Gespeichertes ist nicht lesbar. Prüfen Sie die markierten Felder, dann speichern Sie.',
    saving: 'Wird gespeichert …',
    saved: 'Einstellungen gespeichert.',
    lost: 'Wahrscheinlich hat im selben Augenblick jemand anderes gespeichert.',
    ineffective: 'Die Einstellung mit einem Hinweis ist vielleicht ohne Wirkung.',
    news: 'Was anderswo geändert wurde, ist markiert.',
    not_loaded: 'Die gespeicherten Einstellungen konnten nicht geladen werden.',
    nothing_saved: 'Es wurde nichts gespeichert.',
    not_stored: 'Was als „ungespeichert“ markiert ist, wurde nicht gespeichert.',
    password_unknown: 'Ob das neue Passwort gespeichert wurde, ist nicht bekannt.',
    all_stored: 'Ihre Änderungen sind gespeichert.',
    outcome_unknown: 'Was gespeichert wurde, ist nicht bekannt. Versuchen Sie, noch einmal zu speichern.',

    mark: 'ungespeichert',
    changed: 'Anderswo geändert.',
    changed_to: 'Anderswo geändert. Jetzt gespeichert: {}',
    void: 'Nach einer Änderung anderswo ist Ihre hinfällig.',
    unread: 'Der gespeicherte Wert ist nicht lesbar.',
    on: 'ein',
    off: 'aus',
    nothing: 'nichts',
    share_cleared:
      'Der Aufnahmeordner lässt sich ändern, aber nicht entfernen. Geben Sie einen freigegebenen Ordner ein.',
    share_slash:
      'Der Name eines freigegebenen Ordners enthält keinen Schrägstrich. Ordner darin gehören in das Feld „Ordner darin“.',
    subpath_slash: 'Lassen Sie Schrägstriche am Anfang und am Ende weg, und doppelte.',
    folder_dots: 'Ein Ordner kann nicht „.“ oder „..“ heißen.',
    invisible: 'Darin steht ein unsichtbares Zeichen, etwa ein Tabulator. Geben Sie es neu ein.',
    number_not_whole: 'Geben Sie eine ganze Zahl ein.',
    number_too_large: 'Diese Zahl ist zu groß.',
    time_negative: 'Geben Sie 0 oder mehr Sekunden ein.',
    limit_below_one: 'Geben Sie 1 oder mehr Zuschauer ein.',
    account_missing: 'Die Anmeldung braucht ein Konto. Geben Sie eines ein.',
    password_missing: 'Die Anmeldung braucht ein Passwort. Geben Sie eines ein.',
    password_reserved: 'Dieses Passwort ist nicht möglich. Wählen Sie ein anderes.',
    password_differs: 'Die beiden Passwörter stimmen nicht überein.',
    share_ineffective:
      'Das Gerät hat den Ordner {} gespeichert, aber vielleicht nicht eingerichtet. Prüfen Sie, ob es den freigegebenen Ordner gibt. Speichern Sie dann den vorherigen Ordner noch einmal und danach wieder diesen. Gab es keinen, speichern Sie zuerst irgendeinen anderen vorhandenen Ordner.',
    dtv_service_ineffective:
      'Das Gerät hat die zuletzt gesendete Wahl gespeichert, den Dienst aber vielleicht nicht gestartet oder beendet. Speichern Sie die andere Wahl und danach wieder jene.',
    errors: {
      unknown: 'Das Gerät hat einen Fehler gemeldet.',
      unreachable: 'Das Gerät ist nicht erreichbar.',
      no_answer: 'Das Gerät hat nicht geantwortet.',
      unreadable: 'Das Gerät hat keine brauchbare Antwort gegeben.',
      busy: 'Das Gerät ist beschäftigt. Versuchen Sie es in einer Minute noch einmal.',
      too_slow: 'Das Gerät hat zu lange gebraucht. Was es gerade tat, läuft vielleicht weiter.',
      signed_out: 'Das Gerät hat Ihre Anmeldung nicht angenommen.',
      error_privilege_not_enough: 'Nur Administratoren können diese Einstellungen sehen und ändern.',
      error_duplicate_path:
        'Eine andere Bibliothek benutzt bereits {}, einen Ordner darin oder einen um ihn herum. Ändern Sie den freigegebenen Ordner oder den Ordner darin.',
    },
  },
};

const wanted = navigator.languages.map((tag) => tag.toLowerCase().split('-')[0]);

export const language = wanted.find((name) => Object.hasOwn(languages, name)) ?? 'en';
export const texts = languages[language];

// A value may run from right to left, or have marks that would turn round what is behind it.
const fill = (sentence, value) => sentence.replace('{}', () => `\u2068${value}\u2069`);

// The text of that name, with `value` in its gap. A missing one is reported, but does not stop the page.
export function text(name, value) {
  if (!Object.hasOwn(texts, name)) reportError(new Error(`there is no text "${name}"`));
  return fill(texts[name] ?? name, value);
}

// The sentence for an error key, or the general one where there is none.
export function errorText(key, value) {
  return fill(Object.hasOwn(texts.errors, key) ? texts.errors[key] : texts.errors.unknown, value);
}
