// The dashboard page: draws the unit's state, its receipts and its events, and sends fault
// and drawer changes. Everything arrives from the same origin; nothing is loaded from
// elsewhere, so the page works without a network.
'use strict';

// The six LEDs on the unit's front. The unit also keeps the PED position, which the library
// cannot drive; the API reports it, the front has no lamp for it.
const LED_LABELS = {
  LED_POWER: 'Power', LED_NETWORK: 'Network', LED_TABLET: 'Tablet',
  LED_PRINTER: 'Printer', LED_USB1: 'USB 1', LED_USB2: 'USB 2',
};
const EVENTS_SHOWN = 400;
// Events after which the unit's state or its receipts may have changed.
const RECEIPT_EVENTS = new Set(['receipt', 'render_error']);
const QUIET_EVENTS = new Set(['printer_issue']);

const byId = (id) => document.getElementById(id);

function element(tag, props, children) {
  const node = document.createElement(tag);
  Object.assign(node, props || {});
  for (const child of children || []) {
    node.append(child);
  }
  return node;
}

function showError(message) {
  byId('error-line').textContent = message || '';
}

async function getJson(url) {
  const response = await fetch(url, { cache: 'no-store' });
  if (!response.ok) {
    throw new Error(url + ': HTTP ' + response.status);
  }
  return response.json();
}

async function post(url, body) {
  const response = await fetch(url, {
    method: 'POST',
    headers: { 'Content-Type': 'application/json' },
    body: JSON.stringify(body),
  });
  const answer = await response.json().catch(() => ({}));
  if (!response.ok) {
    showError(answer.error || ('HTTP ' + response.status));
    return;
  }
  showError('');
  renderState(answer);
}

// ---- the unit's front -------------------------------------------------------------------

const ledNodes = new Map();

function renderLeds(leds) {
  const row = byId('leds');
  for (const led of leds.filter((l) => l.name in LED_LABELS)) {
    let node = ledNodes.get(led.position);
    if (!node) {
      node = element('div', { className: 'led', id: 'led-' + led.position });
      node.dataset.name = led.name;
      row.append(element('div', { className: 'led-cell' }, [
        node, element('span', { className: 'led-label', textContent: LED_LABELS[led.name] || led.name }),
      ]));
      ledNodes.set(led.position, node);
    }
    node.dataset.colour = led.colourName;
    node.title = (LED_LABELS[led.name] || led.name) + ': ' + led.colourName.replace('LED_', '').toLowerCase();
  }
}

function setPressed(group, attribute, value) {
  for (const button of byId(group).querySelectorAll('button')) {
    button.setAttribute('aria-pressed', String(button.dataset[attribute] === value));
  }
}

function renderCount(field, value) {
  const input = byId('fault-' + field);
  if (document.activeElement !== input) {
    input.value = value;
  }
  const pending = byId('pending-' + field);
  if (pending) {
    pending.textContent = field === 'delayMs' || field === 'drawerCloseAfterMs' || value === 0
      ? '' : value + ' to go';
  }
}

function renderState(state) {
  renderLeds(state.leds);
  const cosmetic = byId('cosmetic');
  cosmetic.dataset.colour = state.cosmetic.colourName;
  cosmetic.title = 'cosmetic light: ' + state.cosmetic.colourName.replace('COSMETIC_', '').toLowerCase();
  byId('usb-power').dataset.on = String(state.usbPower);
  byId('usb-power-text').textContent = state.usbPower ? 'power on' : 'power off';
  byId('solenoid').dataset.on = String(state.solenoid);
  byId('solenoid-text').textContent = state.solenoid ? 'solenoid on' : 'solenoid off';

  byId('printer').dataset.state = state.faults.printer;
  byId('printer-state').textContent = state.faults.printer;
  byId('drawer').dataset.open = String(state.drawer.open);
  byId('drawer-state').textContent = state.drawer.open ? 'open' : 'closed';
  byId('drawer-openings').textContent = '(' + state.drawer.openings + ' openings)';

  setPressed('printer-choice', 'printer', state.faults.printer);
  setPressed('reply-choice', 'reply', state.faults.reply);
  renderCount('printerNotReady', state.faults.printerNotReady);
  renderCount('printerError', state.faults.printerError);
  renderCount('corruptCrc', state.faults.corruptCrc);
  renderCount('dropNext', state.faults.dropNext);
  renderCount('delayMs', state.faults.delayMs);
  renderCount('drawerCloseAfterMs', state.drawer.closeAfterMs);
  byId('fault-refuse').checked = state.faults.refuse;

  let listening = '';
  if (state.unit.restarting) {
    listening = ' (restarting)';
  } else if (!state.unit.listening) {
    listening = ' (not listening: at its connection cap)';
  }
  byId('unit-address').textContent = 'unit on ' + state.unit.address + ':' + state.unit.port + listening;
  byId('unit-address').dataset.listening = String(state.unit.listening);
  const c = state.counters;
  const counters = byId('counters');
  counters.replaceChildren(...[
    ['connections', c.connections], ['open', c.openConnections], ['frames', c.frames],
    ['bad frames', c.frameErrors], ['replies', c.replies], ['receipts', c.receipts],
    ['restarts', state.unit.restarts],
  ].map(([name, value]) => element('div', {}, [
    element('dt', { textContent: name }), element('dd', { textContent: String(value) }),
  ])));
}

// ---- receipts -----------------------------------------------------------------------------

const receiptCards = new Map();

function receiptCard(r) {
  const time = new Date(r.printedAtMs).toLocaleTimeString();
  const bad = !r.complete;
  const head = element('div', { className: 'receipt-head' }, [
    element('span', { className: 'receipt-number', textContent: '#' + r.number }),
    element('span', { className: 'receipt-meta', textContent: time + ' · ' + r.packets + ' packets' }),
    element('span', { className: 'mark' + (bad ? ' bad' : ''), textContent: r.marks }),
  ]);
  const children = [head];
  if (r.png) {
    const img = element('img', { src: r.png, alt: 'receipt ' + r.number, loading: 'lazy' });
    img.width = r.width;
    img.height = r.height;
    children.push(element('div', { className: 'paper' }, [img]));
  }
  if (r.notes.length || r.problems.length) {
    children.push(element('div', { className: 'notes', textContent: r.notes.concat(r.problems).join('; ') }));
  }
  children.push(element('details', { open: !r.png }, [
    element('summary', { textContent: 'text' }),
    element('pre', { className: 'receipt-text', textContent: r.text }),
  ]));
  const links = [element('a', { href: r.txt, download: 'receipt-' + r.number + '.txt', textContent: 'download text' })];
  if (r.png) {
    links.unshift(element('a', { href: r.png, download: 'receipt-' + r.number + '.png', textContent: 'download PNG' }));
  }
  children.push(element('div', { className: 'receipt-links' }, links));
  const card = element('article', { className: 'receipt' }, children);
  card.dataset.number = r.number;
  card.dataset.marks = r.marks;
  return card;
}

let newestReceipt = 0;

function renderReceipts(answer) {
  const gallery = byId('gallery');
  // Receipts the unit no longer keeps in memory leave the gallery too.
  for (const [number, card] of receiptCards) {
    if (number < answer.oldest) {
      card.remove();
      receiptCards.delete(number);
    }
  }
  // Newest first: each new card goes before the newest one already shown.
  for (const r of answer.receipts.slice().reverse()) {
    if (!receiptCards.has(r.number)) {
      const card = receiptCard(r);
      receiptCards.set(r.number, card);
      gallery.prepend(card);
    }
    newestReceipt = Math.max(newestReceipt, r.number);
  }
  byId('gallery-empty').hidden = receiptCards.size > 0;
  byId('receipt-count').textContent = answer.printed + ' printed';
}

// ---- refreshing without flooding the unit ------------------------------------------------

// At most one request of a kind in flight; calls meanwhile fold into one more, after `wait`.
function throttled(load, render, wait) {
  let running = false;
  let again = false;
  const run = async () => {
    running = true;
    try {
      render(await load());
    } catch (error) {
      showError(error.message);
    }
    if (again) {
      again = false;
      setTimeout(run, wait);
    } else {
      running = false;
    }
  };
  return () => {
    if (running) {
      again = true;
    } else {
      run();
    }
  };
}

const refreshState = throttled(() => getJson('/api/state'), renderState, 150);
const refreshReceipts = throttled(() => getJson('/api/receipts?after=' + newestReceipt),
  renderReceipts, 150);

// ---- the event tail ---------------------------------------------------------------------

const kinds = new Map();  // kind -> { box, count }
let paused = false;

function eventVisible(kind, text) {
  const entry = kinds.get(kind);
  const search = byId('event-search').value.trim().toLowerCase();
  return (!entry || entry.box.checked) && (!search || text.toLowerCase().includes(search));
}

function countKind(kind) {
  let entry = kinds.get(kind);
  if (!entry) {
    const box = element('input', { type: 'checkbox', checked: true });
    box.dataset.kind = kind;
    box.addEventListener('change', applyFilter);
    const count = element('span', { className: 'n', textContent: '0' });
    const chip = element('label', { className: 'kind' }, [box, kind, count]);
    chip.dataset.kind = kind;
    const list = byId('event-kinds');
    const after = [...list.children].find((c) => c.dataset.kind > kind);
    list.insertBefore(chip, after || null);
    entry = { box, count, n: 0 };
    kinds.set(kind, entry);
  }
  entry.n += 1;
  entry.count.textContent = String(entry.n);
}

function applyFilter() {
  for (const row of byId('events').children) {
    row.classList.toggle('hidden', !eventVisible(row.dataset.kind, row.dataset.text));
  }
}

function addEvent(event) {
  const kind = event.event;
  countKind(kind);
  if (paused) {
    return;
  }
  const fields = Object.assign({}, event);
  delete fields.seq;
  delete fields.ms;
  delete fields.event;
  const text = JSON.stringify(fields);
  const row = element('li', {}, [
    element('span', { className: 'ev-time', textContent: (event.ms / 1000).toFixed(3) + 's' }),
    element('span', { className: 'ev-kind k-' + kind, textContent: kind }),
    element('span', { className: 'ev-body', textContent: text }),
  ]);
  row.dataset.kind = kind;
  row.dataset.text = kind + ' ' + text;
  row.classList.toggle('hidden', !eventVisible(kind, row.dataset.text));
  row.addEventListener('click', () => row.classList.toggle('open'));
  const list = byId('events');
  list.prepend(row);
  while (list.children.length > EVENTS_SHOWN) {
    list.lastElementChild.remove();
  }
}

// ---- wiring ------------------------------------------------------------------------------

function connect() {
  const link = byId('link');
  const source = new EventSource('/api/events');
  source.onopen = () => {
    link.dataset.state = 'live';
    byId('link-text').textContent = 'live';
    // Whatever happened while the stream was down is read afresh.
    refreshState();
    refreshReceipts();
  };
  source.onerror = () => {
    link.dataset.state = source.readyState === EventSource.CLOSED ? 'down' : 'connecting';
    byId('link-text').textContent = source.readyState === EventSource.CLOSED ? 'stopped' : 'reconnecting';
  };
  source.onmessage = (message) => {
    let event;
    try {
      event = JSON.parse(message.data);
    } catch (error) {
      return;
    }
    addEvent(event);
    if (RECEIPT_EVENTS.has(event.event)) {
      refreshReceipts();
    }
    if (!QUIET_EVENTS.has(event.event)) {
      refreshState();
    }
  };
}

function wire() {
  for (const button of byId('printer-choice').querySelectorAll('button')) {
    button.addEventListener('click', () => post('/api/faults', { printer: button.dataset.printer }));
  }
  for (const button of byId('reply-choice').querySelectorAll('button')) {
    button.addEventListener('click', () => post('/api/faults', { reply: button.dataset.reply }));
  }
  for (const form of document.querySelectorAll('form.count')) {
    form.addEventListener('submit', (e) => {
      e.preventDefault();
      const field = form.dataset.field;
      const value = Number(byId('fault-' + field).value);
      if (!Number.isInteger(value) || value < 0) {
        showError(field + ' must be a whole number of 0 or more');
        return;
      }
      post('/api/faults', { [field]: value });
    });
  }
  byId('restart-form').addEventListener('submit', (e) => {
    e.preventDefault();
    const downtime = Number(byId('restart-downtimeMs').value);
    if (!Number.isInteger(downtime) || downtime < 0) {
      showError('the downtime must be a whole number of milliseconds, 0 or more');
      return;
    }
    post('/api/restart', { downtimeMs: downtime });
  });
  byId('fault-refuse').addEventListener('change', (e) => post('/api/faults', { refuse: e.target.checked }));
  byId('close-drawer').addEventListener('click', () => post('/api/drawer', { action: 'close' }));
  byId('open-drawer').addEventListener('click', () => post('/api/drawer', { action: 'open' }));
  byId('event-search').addEventListener('input', applyFilter);
  byId('event-pause').addEventListener('click', (e) => {
    paused = !paused;
    e.target.textContent = paused ? 'Resume' : 'Pause';
  });
  byId('event-clear').addEventListener('click', () => byId('events').replaceChildren());
}

wire();
refreshState();
refreshReceipts();
connect();
