// The page's three dialogs: add, remove, play.
import {gateway_error, send_command} from './api.js';
import {file_name, refusal_text, removal_text} from './words.js';

const $ = (id) => document.getElementById(id);

for (const button of document.querySelectorAll('[data-close]')) {
  button.addEventListener('click', () => button.closest('dialog').close());
}

function show_error(element, text) {
  element.textContent = text;
  element.hidden = text === '';
}

// Runs an action that may be refused, with the buttons of the form disabled so that nothing is sent twice.
async function with_form_busy(form, action) {
  const buttons = form.querySelectorAll('button');
  for (const button of buttons) button.disabled = true;
  try {
    await action();
  } finally {
    for (const button of buttons) button.disabled = false;
  }
}

// Calls `added` with the path once the service has accepted a file.
export function set_up_add(added) {
  const form = $('add-form');
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    const file = $('add-file').value.trim();
    if (!file.startsWith('/')) {
      show_error($('add-error'), 'Enter the full path of a file: it begins with a slash.');
      $('add-file').focus();
      return;
    }
    const body = {file, deletes_source: $('add-deletes').checked};
    if ($('add-profile').value) body.profile = $('add-profile').value;
    show_error($('add-error'), '');
    with_form_busy(form, async () => {
      try {
        await send_command('add', body);
      } catch (error) {
        if (!(error instanceof gateway_error)) throw error;
        show_error($('add-error'), refusal_text(error));
        return;
      }
      $('add-dialog').close();
      added(file);
    });
  });
}

export function ask_for_file() {
  $('add-form').reset();
  show_error($('add-error'), '');
  $('add-dialog').showModal();
  $('add-file').focus();
}

// Asks whether to remove the job. Calls `answered` with true if the user wants to keep a source that the
// job would delete.
export function ask_for_removal(job, answered) {
  const dialog = $('remove-dialog');
  const endangers_source = job.deletes_source && job.group !== 'done';
  $('remove-subject').textContent = file_name(job.file);
  $('remove-text').textContent = removal_text(job);
  $('remove-yes').textContent = endangers_source ? 'Remove and delete' : 'Remove';
  $('remove-keeping').hidden = !endangers_source;
  $('remove-yes').onclick = () => {
    dialog.close();
    answered(false);
  };
  $('remove-keeping').onclick = () => {
    dialog.close();
    answered(true);
  };
  dialog.showModal();
  $('remove-no').focus();
}

const video = $('video');

export function play(job) {
  $('play-title').textContent = file_name(job.file);
  $('play-error').hidden = true;
  video.hidden = false;
  video.src = job.vod;
  $('play-dialog').showModal();
  video.play().catch(() => {
    // A browser may require another click first; the controls are visible.
  });
}

video.addEventListener('error', () => {
  if (!video.hasAttribute('src')) return;
  video.hidden = true;
  $('play-error').hidden = false;
});

// Also stops the transfer.
$('play-dialog').addEventListener('close', () => {
  video.pause();
  video.removeAttribute('src');
  video.load();
});
