'use strict';

const language = new URLSearchParams(location.search).get('lang') === 'CSY' ? 'cs' : 'en';
document.documentElement.lang = language;
// The style sheet hides the other language, but may arrive later than this script reads the texts.
for (const other of document.querySelectorAll(`body [lang]:not([lang=${language}])`)) other.remove();
const texts = {
  cs: {found: 'Nalezené lekce: ', opened: 'otevřeno v prohlížeči'},
  en: {found: 'Lessons found: ', opened: 'opened in the browser'},
}[language];

// The host's text stands behind the last key as it is: its own "&", "#" and "%" belong to it. What
// the engine escapes in an address is read back, all else is left. It escapes control characters, the
// space, the signs " ' < > ` and what is not ASCII, always with capital letters. Where the host's text
// itself holds such an escape, "%20" for one, it cannot be told from the engine's.
function licence() {
  const text = location.href.split('&lic=').slice(1).join('&lic=');
  const escaped = new RegExp('%(?:[01][0-9A-F]|2[027]|3[CE]|60|7F)' +
    '|%[CD][0-9A-F]%[89AB][0-9A-F]' +
    '|%E[0-9A-F](?:%[89AB][0-9A-F]){2}' +
    '|%F[0-7](?:%[89AB][0-9A-F]){3}', 'g');
  return text.replace(escaped, character => {
    try {
      return decodeURIComponent(character);
    } catch {
      return character;
    }
  });
}
document.getElementById('licence').textContent = licence() || '–';

// Said by a screen reader, whatever has the focus.
function tell(text) {
  document.getElementById('told').textContent = text;
}

// A lesson opens outside the host: the add-in is sent its address, in quotes. In a browser, where
// nobody listens, the link is a link.
const lessons = [...document.querySelectorAll('.lesson')];
const titles = new Map(lessons.map(lesson => [lesson, lesson.querySelector('h2').textContent]));
function markOpened(lesson) {
  if (!lesson.matches('.opened')) {
    const note = document.createElement('span');
    note.className = 'unseen';
    note.textContent = `, ${texts.opened}`;
    lesson.querySelector('small').append(note);
    lesson.classList.add('opened');
  }
  tell(`${titles.get(lesson)}: ${texts.opened}`);
}
for (const lesson of lessons) {
  lesson.addEventListener('click', async event => {
    if (!window.adsk) return;
    event.preventDefault();
    await adsk.fusionSendData('open', `"${lesson.href}"`);
    markOpened(lesson);
  });
}

// Without accents and capitals, as people type when they search.
const plain = text => text.normalize('NFD').replace(/\p{M}/gu, '').toLowerCase();
const words = new Map(lessons.map(lesson => [lesson, plain(lesson.textContent)]));
const search = document.getElementById('search');
search.placeholder = search.dataset[language];
search.setAttribute('aria-label', search.placeholder);
search.addEventListener('input', () => {
  const wanted = plain(search.value.trim());
  for (const lesson of lessons) lesson.hidden = !words.get(lesson).includes(wanted);
  const found = lessons.filter(lesson => !lesson.hidden).length;
  const nothing = document.getElementById('nothing');
  nothing.hidden = found > 0;
  tell(found > 0 ? texts.found + found : nothing.textContent.trim());
});
