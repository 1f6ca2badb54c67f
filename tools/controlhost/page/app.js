// Wires the page: the stream into what is kept, what is kept into what is shown, and the reader's wishes back to the host.

import {AnswersView} from './answers.js';
import {api, inTurn} from './api.js';
import {toast} from './copy.js';
import {confirmed, showShortcuts} from './dialogs.js';
import {byId, drawIcons, icon} from './dom.js';
import {FaultsView} from './faults.js';
import {counted} from './format.js';
import {Live} from './live.js';
import {Pause} from './pause.js';
import {listenForShortcuts} from './shortcuts.js';
import {startTheme} from './theme.js';
import {TrafficView} from './trafficview.js';

const views = ['traffic', 'answers', 'faults'];
const countHitsAfter = 200;  // milliseconds

/** At once, for who goes on to something in it: the browser tells of another address only later. */
function goTo(view) {
  location.hash = view;
  showView();
}

function showView() {
  const wanted = location.hash.slice(1);
  const view = views.includes(wanted) ? wanted : views[0];
  for (const one of views) byId(`view-${one}`).hidden = one !== view;
  for (const link of document.querySelectorAll('nav a')) {
    if (link.dataset.view === view) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  if (view === 'traffic') traffic.shown();
}

/** Does it, and says why when it did not work. */
async function attempt(what) {
  try {
    await what();
  } catch (error) {
    toast(`${error.message} ${error.hint ?? ''}`, 'error');
  }
}

let state = 'connecting';
const pausing = new Pause(() => showConnection());

function showConnection() {
  const paused = pausing.on;
  const shown = state === 'live' && paused ? 'paused' : state;
  byId('connection').dataset.state = shown;
  byId('connection-text').textContent = {connecting: 'Connecting', live: 'Live', paused: 'Paused', lost: 'Connecting again'}[shown];
  const button = byId('pause');
  button.setAttribute('aria-pressed', paused);
  button.querySelector('[data-icon]').replaceChildren(icon(paused ? 'play' : 'pause'));
  const banner = byId('banner');
  const text = state === 'lost' ? 'The host does not answer. Is it still running? The page tries again by itself.'
    : faults.offline ? 'The host plays offline: every connection of a tracker is cut. Switch it on again under Faults.'
      : shown === 'paused' ? 'The host is paused: it answers what comes, and keeps nothing of it. Press Pause again to go on.' : '';
  banner.hidden = !text;
  if (banner.textContent !== text) banner.textContent = text;
}

async function forget(device) {
  const sure = await confirmed('Forget this device?', `What ${device} sent goes, and so does how often it was answered: to the host it is new again.`, 'Forget');
  if (sure) await attempt(() => api.forget(device));
}

async function clear() {
  const sure = await confirmed('Clear everything that came?', 'Requests and devices go, here and at the host. Answers and faults stay.', 'Clear');
  if (sure) await attempt(() => api.clear());
}

const pause = () => attempt(() => pausing.toggle());

drawIcons();
startTheme(byId('theme'));
const traffic = new TrafficView({forget});
const answers = new AnswersView(byId('view-answers'), () => traffic.devices());
const faults = new FaultsView(byId('view-faults'), () => traffic.devices(), (call) => attempt(() => changeFaults(call)));

byId('pause').addEventListener('click', pause);
byId('clear').addEventListener('click', clear);
byId('help').addEventListener('click', showShortcuts);
addEventListener('hashchange', showView);
listenForShortcuts({
  views: (number) => goTo(views[number]),
  search: () => { goTo(views[0]); byId('search').focus(); },
  list: () => { goTo(views[0]); byId('list').focus(); },
  pause, clear, help: showShortcuts,
});

const faultsTurn = inTurn();
const askFaults = () => faultsTurn(async () => showFaults(await api.faults()));
const changeFaults = (call) => faultsTurn(async () => showFaults(await call()));

function showFaults(now) {
  faults.received(now);
  showConnection();
}

/** A fault that met a request has one time less left. */
let counting;
function countHits() {
  counting ??= setTimeout(() => {
    counting = undefined;
    attempt(askFaults);
  }, countHitsAfter);
}

new Live({
  state: (now) => { state = now; showConnection(); },
  hello: (hello) => { pausing.heard(hello.paused); traffic.greeted(); attempt(() => answers.ask()); attempt(askFaults); },
  request: (data) => {
    traffic.arrived(data);
    if (data.request.fault) countHits();
  },
  devices: ({devices}) => traffic.update(devices),
  missed: ({from, to}) => toast(`${counted(to - from + 1, 'request')} came faster than this page could follow; the oldest are no longer kept.`),
  answers: () => attempt(() => answers.ask()),
  faults: () => attempt(askFaults),
  paused: () => attempt(() => pausing.ask()),
  anew: () => traffic.drop(),
  cleared: () => traffic.cleared(),
  forgotten: ({device}) => traffic.forgotten(device),
});

showView();
showConnection();
