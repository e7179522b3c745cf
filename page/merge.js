// What other sessions and the saves of this page have done to the settings. `form` is the form as it would be
// saved. `before` and `now` are the results of readLoad() for two loads. `attempt` is a save whose outcome is
// not known yet, or null: { before, sent, units, mayBeUndone, hasSucceeded }, with the load before it, the form
// that was sent, the units that are open, whether an earlier save's tool might still run, and whether the save
// succeeded; nothing, if the page was reloaded before the answer.

import { applies, differ, FIELDS, isHidden, pick, UNITS } from './fields.js';

const fieldsOf = (units) => units.flatMap(({ fields }) => fields);
export const namesOf = (units) => units.flatMap(({ shown }) => shown);
const isShown = (unit, { unreadable }) => !isHidden(unit.file, unreadable);
// An empty destination may be an unreadable list of folders.
const isKnown = (unit, now) =>
  isShown(unit, now) && (!unit.fields.includes('share') || now.form.share !== '');
const isTrigger = ({ fields }) => FIELDS[fields[0]].triggers;
const isSwitch = ({ fields }) => fields.includes('dtv_service');

// What the form shows after another load, for each unit:
//
//   in the form               stored now                     the form
//   -----------------------   ----------------------------   --------------------------------------------
//   anything                  hidden                         keeps its values
//   unchanged                 as before                      keeps its values
//   unchanged                 otherwise, or shown again      takes what is stored, and no typed password
//   changed, or in `attempt`  as before, sent, in the form   keeps its values
//   changed, or in `attempt`  otherwise                      keeps its values, asks
//
// It also asks when the service was switched elsewhere: a lost or damaged switch looks the same, and saving it
// may stop or start the service. Returns
//   taken   the values that the form takes, by field
//   marked  the fields that were changed elsewhere; not those that were hidden before
//   asked   the fields that the person has to check before a save
export function merge(form, before, now, attempt) {
  if (before === null) return { taken: now.form, marked: [], asked: [] };
  const sentOf = (unit) => (attempt?.units.includes(unit) ? attempt.sent : form);
  const isTouched = (unit) => [form, sentOf(unit)].some((own) => differ(own, before.form, unit.fields));
  const isOther = (unit) =>
    [form, sentOf(unit), before.form].every((own) => differ(now.form, own, unit.shown));
  const newFieldsOf = (unit) =>
    unit.shown.filter((name) => [before.form, sentOf(unit)].every((own) => differ(now.form, own, [name])));
  const units = UNITS.filter((unit) => isShown(unit, now));
  const others = units.filter(isOther);
  const taken = units.filter((unit) => !isTouched(unit) && differ(now.form, before.form, unit.shown));
  const asked = others.filter((unit) => isTouched(unit) || isSwitch(unit));
  return {
    taken: pick(fieldsOf(taken), now.form),
    marked: others.filter((unit) => isShown(unit, before)).flatMap(newFieldsOf),
    asked: namesOf(asked).filter((name) => now.form[name] !== form[name]),
  };
}

// What a save has done, judged by the load after it; `now` is null if no load was answered. Returns those of
// the units it changed that are
//   missing  shown otherwise than sent
//   unknown  hidden, or a destination where none is shown. After a failure, also a new password, which no load
//            shows, and the service: an unreadable switch looks like one that is off, a lost one like on.
//   doubted  shown as sent, perhaps without effect, because they trigger an action: after a failure, or if an
//            earlier save's tool may undo it. A destination went well if the load after the answer shows an
//            option as sent, because options are stored later.
export function outcome({ before, sent, units, mayBeUndone, hasSucceeded }, now) {
  const isChanged = (fields) => differ(sent, before.form, fields);
  const changed = units.filter((unit) => isChanged(unit.fields));
  const shown = changed.filter((unit) => now !== null && isKnown(unit, now));
  // An untouched account is not sent.
  const isSent = (name) => applies(name, sent) && (name !== 'account' || isChanged([name]));
  const missing = shown.filter((unit) => differ(sent, now.form, unit.shown.filter(isSent)));
  const hidden = changed.filter((unit) => !shown.includes(unit));
  const asSent = shown.filter((unit) => !missing.includes(unit));
  const triggers = asSent.filter(isTrigger);
  if (hasSucceeded) return { missing, unknown: hidden, doubted: mayBeUndone ? triggers : [] };
  const hasPassword = ({ fields }) => fields.includes('passwd') && sent.passwd !== '';
  const open = asSent.filter((unit) => isSwitch(unit) || hasPassword(unit));
  const hasOption = asSent.some((unit) => !isTrigger(unit) && isChanged(unit.shown));
  const doubted = hasOption && hasSucceeded === false && !mayBeUndone ? triggers.filter(isSwitch) : triggers;
  return { missing, unknown: [...hidden, ...open], doubted };
}

// What is stored, perhaps without effect: the values of units, by their first field. Adds `units` as they were
// `sent` to the `doubts` so far, and drops a doubt once another value is stored. An empty destination ends none.
export function doubtsAfter(doubts, units, sent, now) {
  const added = Object.fromEntries(units.map(({ fields }) => [fields[0], pick(fields, sent)]));
  const isStored = ([name, values]) =>
    now.form[name] === '' || !differ(values, now.form, Object.keys(values));
  return Object.fromEntries(Object.entries({ ...doubts, ...added }).filter(isStored));
}
