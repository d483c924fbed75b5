'use strict';

const language = new URLSearchParams(location.search).get('lang') === 'CSY' ? 'cs' : 'en';
document.documentElement.lang = language;

// The host's text stands behind the last key as it is: its own "&", "#" and "%" belong to it. What
// the engine has escaped is read back, all else is left.
function licence() {
  const text = location.href.split('&lic=').slice(1).join('&lic=');
  return text.replace(/(%[0-9a-f]{2})+/gi, escaped => {
    try {
      return decodeURIComponent(escaped);
    } catch {
      return escaped;
    }
  });
}
document.getElementById('licence').textContent = licence() || '–';

// A lesson opens outside the host: the add-in is sent its address, in quotes. In a browser, where
// nobody listens, the link is a link.
const lessons = [...document.querySelectorAll('.lesson')];
for (const lesson of lessons) {
  lesson.addEventListener('click', async event => {
    if (!window.adsk) return;
    event.preventDefault();
    await adsk.fusionSendData('open', `"${lesson.href}"`);
    lesson.classList.add('opened');
  });
}

// Without accents and capitals, as people type when they search.
const plain = text => text.normalize('NFD').replace(/\p{M}/gu, '').toLowerCase();
const words = new Map(lessons.map(lesson => [lesson, plain(lesson.innerText)]));
const search = document.getElementById('search');
search.placeholder = search.dataset[language];
search.setAttribute('aria-label', search.placeholder);
search.addEventListener('input', () => {
  const wanted = plain(search.value.trim());
  for (const lesson of lessons) lesson.hidden = !words.get(lesson).includes(wanted);
  document.getElementById('nothing').hidden = lessons.some(lesson => !lesson.hidden);
});
